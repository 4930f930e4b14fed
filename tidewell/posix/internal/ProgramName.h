// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tidewell::posix {

/// The file name of the running program.
[[nodiscard]] const char* programName() noexcept;

}  // namespace tidewell::posix

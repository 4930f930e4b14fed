// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tidewell::posix {

/// Names the calling thread for debuggers; at most 15 characters.
void nameThisThread(const char* name) noexcept;

}  // namespace tidewell::posix

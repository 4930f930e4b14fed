// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tidewell::base {

/// A memory barrier on all running threads of the process, issued by the calling thread (Linux:
/// membarrier(2)). Register first. Both return false if the system does not support it or refuses it. Any
/// thread.
[[nodiscard]] bool registerProcessFence() noexcept;
[[nodiscard]] bool processFence() noexcept;

}  // namespace tidewell::base

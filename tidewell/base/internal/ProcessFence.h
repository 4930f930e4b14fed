#pragma once

namespace tidewell::base {

/// A memory barrier on every running thread of the process, made by one of them (Linux: membarrier(2)). To be
/// registered first; both answer false where the system has none or refuses it. Any thread.
[[nodiscard]] bool registerProcessFence() noexcept;
[[nodiscard]] bool processFence() noexcept;

}  // namespace tidewell::base

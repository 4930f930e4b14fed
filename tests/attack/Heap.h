#pragma once

#include <atomic>
#include <cstdint>

/// The program's own `malloc` and its relatives, which every library in the process finds first. Not for
/// sanitizers, which bring their own.
namespace tidewell::attack {

/// What the blocks that this thread took and did not free have in bytes, and the most they ever had.
inline constinit thread_local std::int64_t heldBytes = 0, peakBytes = 0;

/// If not null, decides whether an allocation fails. Any thread calls it.
inline constinit std::atomic<bool (*)()> allocationFails{nullptr};

}  // namespace tidewell::attack

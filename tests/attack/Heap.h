// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

/// Replaces `malloc` and its relatives for every library in the process. Not for sanitizers, which replace
/// them, too.
namespace tidewell::attack {

/// The bytes allocated minus those freed by this thread, and the peak of that difference.
inline constinit thread_local std::int64_t heldBytes = 0, peakBytes = 0;

/// If not null, decides whether an allocation fails. Called on any thread.
inline constinit std::atomic<bool (*)()> allocationFails{nullptr};

}  // namespace tidewell::attack

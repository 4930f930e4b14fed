// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <new>

namespace tidewell::base::detail {

/// `U_MEMORY_ALLOCATION_ERROR`.
inline constexpr int kIcuMemoryError = 7;

/// Raises on failed allocations, so that a result that is wrong only for that reason is not kept. `status` is
/// a `UErrorCode`.
inline void raiseIfShortOfMemory(int status) {
  if (status == kIcuMemoryError) throw std::bad_alloc();
}

/// ICU crashes if several of its allocations fail in a row. Call this before asking it to create an object:
/// raises `std::bad_alloc` if memory is short.
inline void requireMemoryForIcu() { ::operator delete(::operator new(32 << 10)); }

}  // namespace tidewell::base::detail

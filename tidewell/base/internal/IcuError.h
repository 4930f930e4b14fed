#pragma once

#include <new>

namespace tidewell::base::detail {

/// `U_MEMORY_ALLOCATION_ERROR`.
inline constexpr int kIcuMemoryError = 7;

/// So that a result that is wrong for want of memory only is not kept. `status` is a `UErrorCode`.
inline void raiseIfShortOfMemory(int status) {
  if (status == kIcuMemoryError) throw std::bad_alloc();
}

/// ICU crashes where several of its allocations fail in a row: raises `std::bad_alloc` before it is asked to
/// make an object.
inline void requireMemoryForIcu() { ::operator delete(::operator new(32 << 10)); }

}  // namespace tidewell::base::detail

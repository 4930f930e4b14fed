#pragma once

#include <unicode/utypes.h>

#include <new>

// Internal to the base layer: not installed.
namespace tidewell::base::detail {

/// So that a result that is wrong for want of memory only is not kept.
inline void raiseIfShortOfMemory(UErrorCode status) {
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

/// ICU crashes where several of its allocations fail in a row: raises `std::bad_alloc` before it is asked to
/// make an object.
inline void requireMemoryForIcu() { ::operator delete(::operator new(32 << 10)); }

}  // namespace tidewell::base::detail

#pragma once

#include <unicode/utypes.h>

#include <new>

// Internal to the base layer: not installed.
namespace tidewell::base::detail {

/// So that a result that is wrong for want of memory only is not kept.
inline void raiseIfShortOfMemory(UErrorCode status) {
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

}  // namespace tidewell::base::detail

#pragma once

#include <mutex>

#include "tidewell/base/Fork.h"

// Internal to the base layer: not installed.
namespace tidewell::base::detail {

/// Held over calls of ICU that may take its locks or fill its caches (calendars, zones, formats): a fork waits
/// for them, so that ICU is whole in the child. Any thread; a thread may hold several.
class IcuTurn {
 public:
  IcuTurn() : lock_(mutex()) {}

 private:
  [[nodiscard]] static RecursiveStateMutex& mutex();
  const std::lock_guard<RecursiveStateMutex> lock_;
};

}  // namespace tidewell::base::detail

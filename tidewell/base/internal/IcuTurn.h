#pragma once

#include "tidewell/base/internal/Fork.h"

namespace tidewell::base::detail {

/// Held over calls of ICU that may take its locks or fill its caches: a fork waits for them, so that ICU is
/// whole in the child. Any thread; a thread may hold several of one use.
class IcuTurn {
 public:
  enum class Use {
    dates,       ///< calendars, zones, formats
    expressions  ///< compiling, which may take longer than a date should wait for
  };
  explicit IcuTurn(Use use) : lock_(mutexFor(use)) {}

 private:
  [[nodiscard]] static RecursiveStateMutex& mutexFor(Use use);
  const MutexLock<RecursiveStateMutex> lock_;
};

}  // namespace tidewell::base::detail

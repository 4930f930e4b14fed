// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/internal/Fork.h"

namespace tidewell::base::detail {

/// Serialises calls of ICU that may take its locks or fill its caches. A fork waits for them, so that ICU is
/// consistent in the child. Any thread; a thread may hold several of one `Use`.
class IcuLock {
 public:
  enum class Use {
    dates,       ///< calendars, time zones, formats
    expressions  ///< compiling, which takes longer than a date should wait
  };
  explicit IcuLock(Use use) : lock_(mutexFor(use)) {}

 private:
  [[nodiscard]] static RecursiveStateMutex& mutexFor(Use use);
  const MutexLock<RecursiveStateMutex> lock_;
};

}  // namespace tidewell::base::detail

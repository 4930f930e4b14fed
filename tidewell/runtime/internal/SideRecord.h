// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/runtime/Object.h"
#include "tidewell/runtime/Property.h"

namespace tidewell::runtime {

/// One registration of an observer.
struct ObservationEntry {
  const Property* property = nullptr;
  std::uint32_t options = 0;
  const void* context = nullptr;
  const Object* observerAddress = nullptr;  ///< null for a function
  WeakRef observer;
  std::function<void(const base::Dictionary& change)> function;
  std::atomic<bool> isRemoved{false};
};

/// A strong value or a weak object.
struct Association {
  base::Value value;
  WeakRef object;
  bool isWeak = false;
};

/// An object's associations and observers; created when the first one is added.
struct SideRecord {
  SideRecord();

  /// One of a small shared pool, because a fork locks every mutex. Never held over foreign code (including
  /// destructors of values), nor while another record is locked.
  base::StateMutex& mutex;
  std::unordered_map<const void*, Association> associations TIDEWELL_GUARDED_BY(mutex);
  std::vector<std::shared_ptr<ObservationEntry>> observers TIDEWELL_GUARDED_BY(mutex);
};

/// The record of an object, created if it has none.
[[nodiscard]] SideRecord& sideRecordOf(Object& object);

}  // namespace tidewell::runtime

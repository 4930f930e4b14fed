#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
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
  const Object* observerAddress = nullptr;  ///< null: by function
  WeakRef observer;
  std::function<void(const base::Dictionary& change)> function;
  std::atomic<bool> isRemoved{false};
};

/// An association: a value that is kept, or an object that is not.
struct Association {
  base::Value value;
  WeakRef object;
  bool isWeak = false;
};

/// What an object has beside its own members once somebody attached or observes something.
struct SideRecord {
  SideRecord();

  /// Shared with other records: a fork locks every mutex, so there are few. Never held over foreign code, the
  /// destruction of values included, nor while another record is locked.
  base::StateMutex& mutex;
  std::unordered_map<const void*, Association> associations TIDEWELL_GUARDED_BY(mutex);
  std::vector<std::shared_ptr<ObservationEntry>> observers TIDEWELL_GUARDED_BY(mutex);
};

/// The record of an object, made where it has none.
[[nodiscard]] SideRecord& sideRecordOf(Object& object);

}  // namespace tidewell::runtime

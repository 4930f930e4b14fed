// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Observing.h"

#include <algorithm>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/internal/SideRecord.h"

namespace tidewell::runtime {
namespace {

using Entries = std::vector<std::shared_ptr<ObservationEntry>>;

/// A value as stored in a change.
base::Value present(base::Value value) { return value.isNil() ? base::Value::null() : value; }

/// Notifies one observer unless it was removed or destroyed.
void notify(const ObservationEntry& entry, Object& object, const base::Dictionary& change) {
  // Pairs with the store in `remove`: everything before the removal is visible.
  if (entry.isRemoved.load(std::memory_order_acquire)) return;
  if (entry.function) {
    entry.function(change);
    return;
  }
  const Ref observer = entry.observer.lock();
  if (observer) send(observer, kObserveValueForKeyPath, entry.property->name, &object, change, entry.context);
}

void add(Object* object, std::string_view key, const std::shared_ptr<ObservationEntry>& entry) {
  if (!object) base::raise(base::kInvalidArgumentException, "nil cannot be observed");
  entry->property = object->isa().property(key);
  if (!entry->property)
    base::raise(base::kUnknownKeyException, plainDescription(object->isa().name(), object) +
                                                " has no property " + std::string(key) + " to observe");
  SideRecord& side = sideRecordOf(*object);
  const base::MutexLock lock(side.mutex);
  side.observers.push_back(entry);
}

/// Removes the last matching entry; false if there is none.
template <class Fits>
bool remove(SideRecord& side, Fits fits) {
  std::shared_ptr<ObservationEntry> removed;  // destroyed after unlocking
  const base::MutexLock lock(side.mutex);
  const auto last = std::find_if(side.observers.rbegin(), side.observers.rend(), fits);
  if (last == side.observers.rend()) return false;
  removed = std::move(*last);
  removed->isRemoved.store(true, std::memory_order_release);
  side.observers.erase(std::next(last).base());
  return true;
}

template <class Fits>
void removeOrRaise(Object* object, const Object* observer, std::string_view key, Fits fits) {
  if (!object) return;
  // Pairs with the exchange in `sideRecordOf`.
  SideRecord* const side = ObjectAccess::side(*object).load(std::memory_order_acquire);
  if (side && remove(*side, fits)) return;
  base::raise(base::kRangeException, "Cannot remove an observer <" + addressText(observer) +
                                         "> for the key path \"" + std::string(key) + "\" from " +
                                         plainDescription(object->isa().name(), object) +
                                         " because it is not registered as an observer.");
}

}  // namespace

void addObserver(Object* object, const Ref& observer, std::string_view key, std::uint32_t options,
                 const void* context) {
  if (!observer) base::raise(base::kInvalidArgumentException, "nil cannot observe");
  const auto entry = std::make_shared<ObservationEntry>();
  entry->options = options;
  entry->context = context;
  entry->observerAddress = observer.get();
  entry->observer = observer;
  add(object, key, entry);
}

void removeObserver(Object* object, const Object* observer, std::string_view key) {
  removeOrRaise(object, observer, key, [&](const std::shared_ptr<ObservationEntry>& entry) {
    return entry->observerAddress == observer && !entry->function && entry->property->name == key;
  });
}

void removeObserver(Object* object, const Object* observer, std::string_view key, const void* context) {
  removeOrRaise(object, observer, key, [&](const std::shared_ptr<ObservationEntry>& entry) {
    return entry->observerAddress == observer && !entry->function && entry->property->name == key &&
           entry->context == context;
  });
}

Observation observe(const Ref& object, std::string_view key, std::uint32_t options,
                    std::function<void(const base::Dictionary& change)> function) {
  Observation observation;
  observation.object_ = object;
  observation.entry_ = std::make_shared<ObservationEntry>();
  observation.entry_->options = options;
  observation.entry_->function = std::move(function);
  add(object.get(), key, observation.entry_);
  return observation;
}

Observation::~Observation() {
  const Ref object = entry_ ? object_.lock() : nullptr;
  if (object) remove(sideRecordOf(*object), [&](const auto& entry) { return entry == entry_; });
}

Observation& Observation::operator=(Observation&& other) noexcept {
  Observation old(std::move(*this));
  object_ = std::move(other.object_);
  entry_ = std::move(other.entry_);
  return *this;
}

struct Change::State {
  Object* object;
  const Property* property;
  Entries entries;  ///< registered when the change began
  base::Value old;
};

Change::Change(Object& object, std::string_view key) {
  SideRecord& side = sideRecordOf(object);
  Entries entries;
  {
    const base::MutexLock lock(side.mutex);
    std::copy_if(side.observers.begin(), side.observers.end(), std::back_inserter(entries),
                 [&](const auto& entry) { return entry->property->name == key; });
  }
  if (entries.empty()) return;
  const Property* const property = entries.front()->property;
  state_ = std::make_unique<State>(State{&object, property, std::move(entries), property->get(object)});
}

Change::~Change() = default;

void Change::finish() {
  if (!state_) return;
  const base::Value now = state_->property->get(*state_->object);
  for (const auto& entry : state_->entries) {
    base::Dictionary change{{kChangeKindKey, 1}};
    if (entry->options & kObserveNew) change.setObject(present(now), kChangeNewKey);
    if (entry->options & kObserveOld) change.setObject(present(state_->old), kChangeOldKey);
    notify(*entry, *state_->object, change);
  }
}

bool hasObservers(const Object& object) noexcept {
  // Pairs with the exchange in `sideRecordOf`.
  SideRecord* const side = ObjectAccess::side(object).load(std::memory_order_acquire);
  if (!side) return false;
  const base::MutexLock lock(side->mutex);
  return !side->observers.empty();
}

}  // namespace tidewell::runtime

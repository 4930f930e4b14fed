// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Associations.h"

#include <utility>

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/runtime/KeyValueCoding.h"
#include "tidewell/runtime/internal/SideRecord.h"

namespace tidewell::runtime {

void setAssociatedObject(Object* object, const void* key, base::Value value, AssociationPolicy policy) {
  if (!object) return;
  // Pairs with the exchange in `sideRecordOf`, as below.
  if (value.isNil() && !ObjectAccess::side(*object).load(std::memory_order_acquire)) return;

  Association association;
  const Ref attached = objectOf(value);
  if (attached && policy == AssociationPolicy::assign) {
    association.isWeak = true;
    association.object = attached;
  } else {
    association.value = value;
  }

  SideRecord& side = sideRecordOf(*object);
  const base::MutexLock lock(side.mutex);
  if (value.isNil()) {
    const auto found = side.associations.find(key);
    if (found == side.associations.end()) return;
    std::swap(found->second, association);
    side.associations.erase(found);
  } else {
    std::swap(side.associations[key], association);
  }
  // `association` now holds the previous value. Declared first, it is destroyed after unlocking.
}

base::Value associatedObject(const Object* object, const void* key) {
  SideRecord* const side = object ? ObjectAccess::side(*object).load(std::memory_order_acquire) : nullptr;
  if (!side) return {};
  const base::MutexLock lock(side->mutex);
  const auto found = side->associations.find(key);
  if (found == side->associations.end()) return {};
  return found->second.isWeak ? objectValue(found->second.object.lock()) : found->second.value;
}

}  // namespace tidewell::runtime

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Object.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/internal/SideRecord.h"

namespace tidewell::runtime {
namespace {

using SideMutexes = std::array<base::StateMutex, 16>;

SideMutexes& sideMutexes() {
  static base::NeverDestroyed<SideMutexes> mutexes;
  return *mutexes;
}

const base::MadeWhenLoaded sideMutexesMade(sideMutexes);

}  // namespace

SideRecord::SideRecord()
    : mutex(sideMutexes()[reinterpret_cast<std::uintptr_t>(this) / 64 % std::tuple_size_v<SideMutexes>]) {}

Class& Object::rootClass() noexcept { return runtime::rootClass(); }

Object::~Object() {
  // Not `isa()`: a class whose creation failed is destroyed while the registry is under construction.
  // Pairs with the exchange in `setClass`.
  const Class* const was = isa_.load(std::memory_order_acquire);
  // A message sent too late then finds no method instead of a destroyed object.
  isa_.store(nullptr, std::memory_order_release);
  // Acquires the record that `sideRecordOf` published.
  const std::unique_ptr<SideRecord> side(side_.exchange(nullptr, std::memory_order_acq_rel));
  if (!side) return;
  for (const auto& entry : side->observers) {
    if (entry->function) continue;  // ends with the object without a report
    reportObservedDeath(this, was ? std::string_view(was->name()) : "NSObject");
    break;
  }
}

SideRecord& sideRecordOf(Object& object) {
  std::atomic<SideRecord*>& side = ObjectAccess::side(object);
  // Pairs with the exchange below: the record is constructed.
  SideRecord* present = side.load(std::memory_order_acquire);
  if (present) return *present;
  auto made = std::make_unique<SideRecord>();
  if (side.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel)) return *made.release();
  return *present;
}

}  // namespace tidewell::runtime

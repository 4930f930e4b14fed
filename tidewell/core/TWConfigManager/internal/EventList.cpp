// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/EventList.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "tidewell/base/internal/StringHash.h"
#include "tidewell/core/TWConfigManager/internal/WrongClass.h"

namespace tidewell {
namespace {

constexpr std::size_t kShortList = 32;

}  // namespace

EventList::EventList(base::Value list)
    : seed_(base::stringHash("seed")), factor_(base::stringHash("factor") | 1), list_(std::move(list)) {
  const base::Array* const names = list_.array();
  const std::size_t count = names != nullptr ? names->count() : 0;
  // A short list, the most frequent case, has enough slots for almost every name to be at its first index.
  slots_.resize(std::bit_ceil(count + count / 3 + 1) * (count < kShortList ? 4 : 1));
  mask_ = slots_.size() - 1;
  mayRaise_ = names == nullptr && !list_.isNil();
  if (names == nullptr) return;
  for (const base::Value& entry : *names) {
    if (const std::string* const name = entry.string()) {
      insert(*name);
    } else if (!entry.isNil()) {
      mayRaise_ = true;
      return;
    }
  }
}

void EventList::insert(const std::string& name) {
  const std::uint64_t hash = hashOf(name);
  std::size_t index = hash & mask_;
  for (; slots_[index].name != nullptr; index = (index + 1) & mask_) {
    if (slots_[index].hash == hash && *slots_[index].name == name) return;
  }
  slots_[index] = {hash, &name};
}

bool EventList::contains(std::string_view name) const {
  if (has(name)) return true;
  if (!mayRaise_) return false;
  const base::Array& entries = arrayOf(list_, "countByEnumeratingWithState:objects:count:");
  return std::any_of(entries.begin(), entries.end(),
                     [name](const base::Value& entry) { return entry.isEqualToString(name); });
}

}  // namespace tidewell

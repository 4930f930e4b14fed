#include "tidewell/core/TWConfigManager/EventList.h"

#include <bit>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/StringHash.h"
#include "tidewell/core/TWConfigManager/WrongClass.h"

namespace tidewell {

EventList::EventList(base::Value list)
    : seed_(base::stringHash("seed")), factor_(base::stringHash("factor") | 1), list_(std::move(list)) {
  const base::Array* const names = list_.array();
  const std::size_t count = names != nullptr ? names->count() : 0;
  slots_.resize(std::bit_ceil(count + count / 3 + 1));
  mask_ = slots_.size() - 1;
  raises_ = names == nullptr && !list_.isNil();
  if (names == nullptr) return;
  for (const base::Value& entry : *names) {
    if (entry.isNil()) continue;
    if (!entry.isString()) {
      raises_ = true;
      return;
    }
    insert(*entry.string());
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

void EventList::raiseAsTheWalkWould(std::string_view name) const {
  for (const base::Value& entry : arrayOf(list_, "countByEnumeratingWithState:objects:count:")) {
    static_cast<void>(entry.isEqualToString(name));
  }
  base::raise(base::kInternalInconsistencyException, "the walk of an event list met nothing to raise for");
}

}  // namespace tidewell

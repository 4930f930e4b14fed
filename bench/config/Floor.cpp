// SPDX-License-Identifier: Apache-2.0
#include "Floor.h"

#include "tidewell/core/TWConfigManager/internal/EventList.h"

namespace bench {

bool BareLoad::answer() const { return answer_.load(std::memory_order_acquire); }

struct BareProbe::State {
  tidewell::EventList list;
};
BareProbe::BareProbe(const tidewell::base::Value& names) : state_(new State{tidewell::EventList(names)}) {}
BareProbe::~BareProbe() = default;
bool BareProbe::contains(const std::optional<std::string_view>& name) const {
  return name && state_->list.has(*name);
}

}  // namespace bench

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"
#include "tidewell/core/TWConfigManager/internal/EventList.h"
#include "tidewell/core/TWConfigManager/internal/RestrictedExpressions.h"

namespace tidewell {

/// The results of all gates, and which of them raise.
[[nodiscard]] GateWord compileGates(const TWConfigFields& fields);
/// Evaluates a gate step by step. Exceptions are logged with the coordinates of the gate that raised, and
/// give that gate's fallback.
[[nodiscard]] bool answerGate(Gate gate, const TWConfigFields& fields);

/// The fields at one moment, with everything that queries need precomputed. Immutable, except that
/// expressions are compiled lazily; any thread. Shares unchanged lists with the preceding and following
/// snapshots.
struct CompiledConfig : std::enable_shared_from_this<CompiledConfig> {
  TWConfigFields fields;
  GateWord gates = 0;
  std::shared_ptr<const EventList> blackListedEvents;
  std::shared_ptr<const EventList> instantFlushEvents;
  std::shared_ptr<const EventList> whitelistedEvents;
  std::shared_ptr<const RestrictedExpressions> restrictedExpressions;

  /// Compiles what depends on the properties in `changed`, and takes the rest from `previous`. Compiles
  /// everything if `previous` is null.
  [[nodiscard]] static std::shared_ptr<const CompiledConfig> compile(TWConfigFields fields,
                                                                     const CompiledConfig* previous = nullptr,
                                                                     PropertySet changed = kAllProperties);
};

}  // namespace tidewell

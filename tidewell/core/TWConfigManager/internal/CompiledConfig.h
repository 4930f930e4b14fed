#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"
#include "tidewell/core/TWConfigManager/internal/EventList.h"
#include "tidewell/core/TWConfigManager/internal/RestrictedExpressions.h"

namespace tidewell {

/// The answers of all gates, and which of them raise.
[[nodiscard]] GateWord compileGates(const TWConfigFields& fields);
/// Answers a gate step by step. What is raised is logged, with the coordinates of the gate that met it, and
/// gives that gate's own fallback.
[[nodiscard]] bool answerGate(Gate gate, const TWConfigFields& fields);

/// The fields of one moment, and what questions need computed from them. Immutable but for the expressions,
/// which are compiled as they are needed; any thread. Lists are shared with the snapshots before and after
/// that hold the same.
struct CompiledConfig : std::enable_shared_from_this<CompiledConfig> {
  TWConfigFields fields;
  GateWord gates = 0;
  std::shared_ptr<const EventList> blackListedEvents;
  std::shared_ptr<const EventList> instantFlushEvents;
  std::shared_ptr<const EventList> whitelistedEvents;
  std::shared_ptr<const RestrictedExpressions> restrictedExpressions;

  /// Compiles what depends on the properties that `changed` names; the rest is that of `previous`. Without a
  /// previous one everything is compiled.
  [[nodiscard]] static std::shared_ptr<const CompiledConfig> compile(TWConfigFields fields,
                                                                     const CompiledConfig* previous = nullptr,
                                                                     PropertySet changed = kAllProperties);
};

}  // namespace tidewell

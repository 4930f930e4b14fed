// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "tidewell/core/TWConfigManager/Explanation.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigOrigins.h"

namespace tidewell {

/// Answers questions step by step. Logs nothing. For one thread at a time.
class Explainer {
 public:
  Explainer(std::shared_ptr<const TWConfigFields> fields, const ConfigOrigins& origins);

  /// No value for an unknown question.
  std::optional<Explanation> explain(std::string_view question, std::optional<std::string_view> argument);

 private:
  void explainGate(const GateRule& rule);
  void explainEvent(const ConfigField& list, std::optional<std::string_view> name);
  void explainUniqueID(std::optional<std::string_view> uniqueID);
  /// Appends a step, unless there are too many and it decides nothing.
  void add(const ConfigField* field, std::optional<std::size_t> entry, base::Value value, StepOutcome outcome,
           bool decides = false);

  std::shared_ptr<const TWConfigFields> fields_;
  ConfigOrigins::Origins origins_;
  std::shared_ptr<Explanation::State> state_;
};

/// "origin" and, if there is one, "originTime", for JSON.
[[nodiscard]] base::Dictionary dictionaryOf(const ConfigOrigins::Origin& origin);

}  // namespace tidewell

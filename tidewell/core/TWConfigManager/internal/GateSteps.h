// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tidewell/core/TWConfigManager/Explanation.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"

namespace tidewell {

/// One check of a gate.
struct GateStep {
  const ConfigField* field;
  StepOutcome outcome;  ///< passes, refuses or raises
};

/// The checks of a gate up to the one that decides, and its answer: that of `answerGate`, without log lines.
struct GateSteps {
  GateSteps(Gate gate, const TWConfigFields& fields);

  std::vector<GateStep> steps;
  bool answer = true;
  /// Whether the last step decided; if not, every check has passed.
  bool isDecided = false;

 private:
  void check(const GateRule& rule, const TWConfigFields& fields);
};

}  // namespace tidewell

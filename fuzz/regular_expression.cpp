// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/RegularExpression.h"

#include "Input.h"

using namespace tidewell::base;

// Input: a line with the pattern, and a text to match. Equal queries have equal results and costs.
void fuzz::check(std::string_view input) {
  const auto [pattern, text] = fuzz::split(input, "\n");
  const RegularExpression expression(pattern);
  const bool isAnswered = fuzz::completes(kInvalidArgumentException, [&, &text = text] {
    MatchBudget budget, again;
    const MatchResult first = expression.matches(text, budget);
    fuzz::require(expression.matches(text, again) == first && again.steps == budget.steps);
  });
  fuzz::require(isAnswered || !expression.isValid());
}

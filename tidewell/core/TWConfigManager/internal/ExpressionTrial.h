// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "tidewell/base/formats/RegularExpression.h"

namespace tidewell {

/// Tries an expression for restricted unique IDs on texts chosen to reveal its faults.
///
/// For one thread. All trials share a budget of steps, so their time is bounded whatever the expressions.
class ExpressionTrial {
 public:
  enum class Finding { none, matchesNothing, matchesEverything, slow, untried };

  /// `stepsOfMatch`: the steps that a query grants one expression.
  explicit ExpressionTrial(std::int32_t stepsOfMatch) : stepsOfMatch_(stepsOfMatch) {}

  /// `untried` if the budget has run out.
  Finding operator()(const base::RegularExpression& expression);
  /// A text for which the last expression was slow.
  [[nodiscard]] const std::string& slowText() const noexcept { return text_; }

 private:
  enum class Search { found, none, gaveUp };
  base::MatchResult match(const base::RegularExpression& expression, bool* readToEnd = nullptr);
  Search findMatch(const base::RegularExpression& expression);
  bool isSlowOnRepeats(const base::RegularExpression& expression, const std::string& matched);

  /// About 150 ms of backtracking on present-day hardware, or as many cheap matches.
  std::int32_t stepsLeft_ = 30'000;
  std::int32_t stepsOfMatch_;
  std::string text_;
};

}  // namespace tidewell

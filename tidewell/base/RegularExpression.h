#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// What a match may still cost, in ICU's own steps, so that an answer does not depend on the machine's load.
/// One budget may be handed to several matches, which share it.
struct MatchBudget {
  /// About 10 ms of backtracking on a present-day machine.
  static constexpr std::int32_t kDefaultSteps = 2000;
  std::int32_t steps = kDefaultSteps;
};

enum class MatchResult {
  matches,
  differs,
  /// The budget ran out, or the expression needed more stack than ICU grants: counts as no match, and is
  /// worth a report.
  undecided,
};

/// A compiled regular expression (ICU syntax) that asks whether it matches the whole of a text, as the
/// predicate "SELF MATCHES %@" does.
///
/// Immutable once made. Any number of threads may ask one at the same time; they do not wait for each other.
class TIDEWELL_EXPORT RegularExpression {
 public:
  /// Longer patterns are refused as invalid, so that compiling one is bounded in time and memory.
  static constexpr std::size_t kMaximumPatternLength = 64u << 10;

  /// Compiles. Never raises: an expression that ICU refuses is kept with its error, and raises when it is
  /// asked.
  explicit RegularExpression(std::string_view pattern);
  ~RegularExpression();
  RegularExpression(RegularExpression&&) noexcept;
  RegularExpression& operator=(RegularExpression&&) noexcept;

  [[nodiscard]] bool isValid() const noexcept;
  [[nodiscard]] const std::string& pattern() const noexcept;
  /// ICU's name of the error, "" for a valid expression.
  [[nodiscard]] std::string errorName() const;

  /// Raises `kInvalidArgumentException` ("Can't do regex matching, reason: Can't open pattern U_REGEX_…
  /// (string S, pattern P, case 0, canon 0)") for an invalid expression. What the match cost is taken off the
  /// budget.
  [[nodiscard]] MatchResult matches(std::string_view text, MatchBudget& budget) const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tidewell::base

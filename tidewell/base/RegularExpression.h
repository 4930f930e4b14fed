#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

struct UText;  // ICU's access to a text

namespace tidewell::base {

/// What matches may still cost, in steps of 500 places that ICU keeps to come back to (so that an answer does
/// not depend on the machine's load). One budget may be handed to several matches, which share it.
///
/// ICU counts by twenty steps: a match that takes fewer costs one, and one that takes more costs their number
/// times a weight that grows with the pattern and the text.
struct MatchBudget {
  /// About 10 ms of backtracking on a present-day machine, or as many harmless matches.
  static constexpr std::int32_t kDefaultSteps = 2000;
  std::int32_t steps = kDefaultSteps;
};

/// A text made ready for matching, so that asking many expressions about it converts and opens it once. Any
/// thread may read.
class TIDEWELL_EXPORT MatchText {
 public:
  explicit MatchText(std::string_view utf8);
  ~MatchText();
  MatchText(const MatchText&) = delete;
  MatchText& operator=(const MatchText&) = delete;
  [[nodiscard]] std::u16string_view utf16() const noexcept { return utf16_; }

 private:
  friend class RegularExpression;
  std::array<char16_t, 64> short_;
  std::u16string other_;
  std::u16string_view utf16_;  ///< one of the two
  UText* opened_;              ///< null where memory or ICU (2 GiB) has no room for it
};

/// A place at which a thread matches. Every expression keeps a matcher for each place, so that one that is
/// asked again need not be copied; whoever holds a place has its matchers alone.
///
/// Hold one while you ask several expressions. Taking one never waits: where all are taken this holds none,
/// and matches make matchers of their own. Bound to its thread.
class TIDEWELL_EXPORT MatchPlace {
 public:
  /// So many threads ask at once without making matchers.
  static constexpr std::size_t kCount = 8;

  MatchPlace() noexcept;
  ~MatchPlace();
  MatchPlace(const MatchPlace&) = delete;
  MatchPlace& operator=(const MatchPlace&) = delete;

 private:
  friend class RegularExpression;
  std::size_t index_;  // `kCount`: none
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
  /// Longer patterns are refused as invalid (U_REGEX_PATTERN_TOO_BIG): a pattern of this length compiles in
  /// some milliseconds, and what it does between two places that ICU keeps is bounded by it.
  static constexpr std::size_t kMaximumPatternLength = 8u << 10;
  /// So are patterns with more sets of characters ("[", "\\p"): one that ignores case may cost half a
  /// millisecond to compile.
  static constexpr std::size_t kMaximumSets = 128;

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
  [[nodiscard]] MatchResult matches(const MatchText& text, MatchBudget& budget,
                                    const MatchPlace& place = MatchPlace()) const;
  [[nodiscard]] MatchResult matches(std::string_view text, MatchBudget& budget) const {
    return matches(MatchText(text), budget);
  }

 private:
  struct Implementation;
  std::unique_ptr<const Implementation> implementation_;
};

}  // namespace tidewell::base

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"

struct UText;  // ICU's access to a text

namespace tidewell::base {

/// What matches may still cost, in steps of 500 places that ICU keeps to come back to (so that an answer does
/// not depend on the machine's load): about 5 µs each. One budget may be handed to several matches, which
/// share it.
///
/// ICU reports every twenty steps only. A match that it does not report costs what it may have taken at most
/// (`RegularExpression::leastCost`); one that it reports costs what was reported, times a weight for what the
/// pattern and the text let ICU do between two places.
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
  [[nodiscard]] bool isAscii() const noexcept { return isAscii_; }

 private:
  friend class RegularExpression;
  bool isAscii_;
  std::array<char16_t, 64> short_;
  std::u16string other_;
  std::u16string_view utf16_;  ///< one of the two
  UText* opened_;              ///< null where ICU (2 GiB) has no room for it
};

/// A place at which a thread matches. An expression that keeps matchers has one for each place, so that one
/// that is asked again need not be copied; a thread that holds a place has its matchers alone.
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
  /// The budget ran out, the expression needed more stack than ICU grants, or it was never compiled because
  /// it costs too much: counts as no match, and is worth a report.
  undecided,
};

/// A compiled regular expression (ICU syntax) that asks whether it matches the whole of a text, as the
/// predicate "SELF MATCHES %@" does.
///
/// What compiling costs is estimated first; a pattern beyond the bounds is never handed to ICU. Immutable
/// once made. Any number of threads may ask one at the same time; they do not wait for each other.
class TIDEWELL_EXPORT RegularExpression {
 public:
  static constexpr std::size_t kMaximumPatternLength = 64u << 10;
  /// What compiling may take, in nanoseconds of processor time on a present-day machine, and what it may
  /// keep, in bytes. A plain alternation of the maximum length fits.
  static constexpr std::uint64_t kMaximumCompileTime = 15000000;
  static constexpr std::size_t kMaximumCompiledSize = 4u << 20;

  /// What compiling would cost at most, without compiling.
  struct CompileCost {
    std::uint64_t nanoseconds;
    std::size_t bytes;
    bool isTooHigh;  ///< beyond the bounds above
  };
  [[nodiscard]] static CompileCost compileCost(std::string_view pattern);

  /// The texts that an expression without metacharacters matches: one, or several for an alternation of such.
  /// Empty where the pattern is any other expression. A quoted metacharacter ("\\."), anchors around a text
  /// and one group around all are understood.
  [[nodiscard]] static std::vector<std::string> plainTexts(std::string_view pattern);
  /// Whether a pattern is the only text that it matches. Quicker than `plainTexts`, which it implies.
  [[nodiscard]] static bool isPlainText(std::string_view pattern) noexcept;

  /// Whether a matcher is kept for each `MatchPlace` (about a kilobyte each) or made for each match (which
  /// takes about 0.2 µs longer).
  enum class Matchers { kept, made };

  /// Compiles unless that costs too much. Raises `std::bad_alloc` only: an expression that ICU refuses is
  /// kept with its error, and raises when it is asked.
  explicit RegularExpression(std::string_view pattern, Matchers matchers = Matchers::kept);
  ~RegularExpression();
  RegularExpression(RegularExpression&&) noexcept;
  RegularExpression& operator=(RegularExpression&&) noexcept;

  /// Whether ICU took the pattern. False, too, where it was not asked.
  [[nodiscard]] bool isValid() const noexcept;
  [[nodiscard]] bool isTooCostly() const noexcept;
  [[nodiscard]] const std::string& pattern() const noexcept;
  /// ICU's name of the error, "" for an expression that is valid or was not compiled.
  [[nodiscard]] std::string errorName() const;

  /// What a match costs at least: as many steps as one may take that ICU does not report.
  [[nodiscard]] std::int32_t leastCost(const MatchText& text) const noexcept;

  /// Raises `kInvalidArgumentException` ("Can't do regex matching, reason: Can't open pattern U_REGEX_…
  /// (string S, pattern P, case 0, canon 0)") for an invalid expression. `undecided` at once where the budget
  /// is below the least cost. What the match cost is taken off the budget. `std::bad_alloc` out of memory.
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

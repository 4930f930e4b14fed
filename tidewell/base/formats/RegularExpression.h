// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"

struct UText;  // ICU's access to text

namespace tidewell::base {

/// How much matching may still cost, in steps of 500 saved backtracking positions in ICU (about 5 µs each).
/// Counting steps instead of time makes results independent of the machine's load. Several matches may share
/// one budget.
///
/// ICU reports progress only every twenty steps. A match without a report is charged the most it can have
/// cost (`RegularExpression::leastCost`); one with reports is charged the reported steps times a weight for
/// the work that pattern and text allow between two positions.
struct MatchBudget {
  /// About 10 ms of backtracking on present-day hardware, or as many cheap matches.
  static constexpr std::int32_t kDefaultSteps = 2000;
  std::int32_t steps = kDefaultSteps;
};

/// A text prepared for matching, so that matching it against many expressions converts and opens it once. Any
/// thread may read it.
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
  std::u16string_view utf16_;  ///< refers to `short_` or `other_`
  /// Opens the text for the first expression that needs ICU. Null if the text is too long for ICU (2 GiB) or
  /// ICU is unavailable.
  [[nodiscard]] UText* opened() const;
  mutable std::atomic<UText*> opened_{nullptr};
};

/// Reserves one of `kCount` sets of cached matchers for the calling thread. Expressions with cached matchers
/// then need not clone one per match.
///
/// Hold one while matching several expressions. Construction never waits: if all sets are taken, this
/// reserves none, and each match creates its own matcher. Use only on the thread that constructed it.
class TIDEWELL_EXPORT MatchPlace {
 public:
  /// The number of threads that can match at once without creating matchers.
  static constexpr std::size_t kCount = 8;

  MatchPlace() noexcept;
  ~MatchPlace();
  MatchPlace(const MatchPlace&) = delete;
  MatchPlace& operator=(const MatchPlace&) = delete;

 private:
  friend class RegularExpression;
  std::size_t index_;  // `kCount` if none is reserved
};

enum class MatchResult {
  matches,
  differs,
  /// The budget ran out, the expression needed more stack than ICU grants, or it was never compiled because
  /// it costs too much or ICU cannot be loaded. Counts as no match and should be reported.
  undecided,
};

/// A compiled regular expression (ICU syntax) that tests whether it matches an entire text, as the predicate
/// "SELF MATCHES %@" does.
///
/// The cost of compiling is estimated first; a pattern beyond the limits never reaches ICU. Immutable after
/// construction. Any number of threads may match at the same time without waiting for each other.
class TIDEWELL_EXPORT RegularExpression {
 public:
  /// In bytes.
  static constexpr std::size_t kMaximumPatternLength = 64u << 10;
  /// Limits on compiling: nanoseconds of processor time on present-day hardware, and bytes of memory kept. A
  /// plain alternation of the maximum pattern length stays within them.
  static constexpr std::uint64_t kMaximumCompileTime = 15000000;
  static constexpr std::size_t kMaximumCompiledSize = 4u << 20;

  /// An upper bound on the cost of compiling; does not compile.
  struct CompileCost {
    std::uint64_t nanoseconds;
    std::size_t bytes;
    bool isTooHigh;  ///< exceeds the limits above
  };
  [[nodiscard]] static CompileCost compileCost(std::string_view pattern);

  /// The texts matched by an expression without metacharacters: one, or several for an alternation of such.
  /// Empty for any other expression. Recognises escaped metacharacters ("\\."), anchors around a text, and
  /// one group around everything.
  [[nodiscard]] static std::vector<std::string> plainTexts(std::string_view pattern);
  /// Whether the pattern matches only itself. Faster than `plainTexts`, which then returns that one text.
  [[nodiscard]] static bool isPlainText(std::string_view pattern) noexcept;
  /// Whether ICU, which takes milliseconds to load, must compile the pattern. It need not for plain text
  /// around one ".*", such as "test_.*" or ".*@example\\.com".
  [[nodiscard]] static bool needsCompiler(std::string_view pattern);

  /// Whether each `MatchPlace` has a cached matcher (about a kilobyte each), or each match creates one, which
  /// takes twice as long (0.23 instead of 0.11 µs for a short identifier).
  enum class Matchers { kept, made };

  /// Compiles the pattern unless that costs too much. Raises only `std::bad_alloc`: a pattern that ICU
  /// rejects is stored with its error, and raises when matched.
  explicit RegularExpression(std::string_view pattern, Matchers matchers = Matchers::kept);
  ~RegularExpression();
  RegularExpression(RegularExpression&&) noexcept;
  RegularExpression& operator=(RegularExpression&&) noexcept;

  /// Whether the pattern can be matched; false, too, if `isTooCostly`.
  [[nodiscard]] bool isValid() const noexcept;
  /// Whether the pattern was not given to ICU, because compiling costs too much or ICU cannot be loaded.
  [[nodiscard]] bool isTooCostly() const noexcept;
  [[nodiscard]] const std::string& pattern() const noexcept;
  /// ICU's name for the error; "" if the expression is valid or was not compiled.
  [[nodiscard]] std::string errorName() const;

  /// The minimum charge for a match, in steps: the most that a match can cost without a report from ICU.
  [[nodiscard]] std::int32_t leastCost(const MatchText& text) const noexcept;

  /// Raises `kInvalidArgumentException` ("Can't do regex matching, reason: Can't open pattern U_REGEX_…
  /// (string S, pattern P, case 0, canon 0)") for an invalid expression and `std::bad_alloc` if out of
  /// memory. Returns `undecided` immediately if the budget is below `leastCost`. Deducts the cost of the
  /// match from the budget. `readToEnd`, if given, tells whether the match read to the end of the text: if
  /// not, no longer text that begins with this one matches either.
  [[nodiscard]] MatchResult matches(const MatchText& text, MatchBudget& budget,
                                    const MatchPlace& place = MatchPlace(), bool* readToEnd = nullptr) const;
  [[nodiscard]] MatchResult matches(std::string_view text, MatchBudget& budget) const {
    return matches(MatchText(text), budget);
  }

 private:
  struct Implementation;
  std::unique_ptr<const Implementation> implementation_;
};

}  // namespace tidewell::base

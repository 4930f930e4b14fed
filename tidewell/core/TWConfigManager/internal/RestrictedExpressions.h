#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Value.h"
#include "tidewell/base/formats/RegularExpression.h"

namespace tidewell {

/// The expressions of unique IDs that are refused. Any thread; no lock: an expression is compiled by the
/// thread that needs it first, and the one that was stored first serves all.
///
/// Expressions without metacharacters are compared as text, by one probe of a hash table however many there
/// are. The others are compiled and asked in the order of the list. What compiling them may cost is bounded
/// for each and for all together, by estimates made from the list alone; what matching them may cost is
/// bounded for each question. So an answer depends on the list and the identifier only, never on the load or
/// on what was compiled before. A question takes at most about 50 ms of processor time on a present-day
/// machine: 30 ms where it compiles everything, 20 ms to match.
class RestrictedExpressions {
 public:
  static constexpr std::uint64_t kMaximumCompileTime = 30000000;  ///< of all, in nanoseconds
  static constexpr std::size_t kMaximumCompiledSize = 8u << 20;   ///< of all, in bytes
  static constexpr std::int32_t kStepsOfQuestion = 4000;  ///< or one for each compiled expression, if more
  /// So many bytes of expressions are looked at for what they cost; those behind are taken to cost too much.
  static constexpr std::size_t kMaximumScannedBytes = 1u << 20;
  /// So many expressions keep their matchers; the others make one for each match.
  static constexpr std::size_t kMaximumKeptMatchers = 128;
  /// So many texts of alternations are compared as text; the alternations behind are compiled.
  static constexpr std::size_t kMaximumAlternatives = 64u << 10;

  /// nil is a list without expressions.
  explicit RestrictedExpressions(base::Value list);
  ~RestrictedExpressions();
  RestrictedExpressions(const RestrictedExpressions&) = delete;
  RestrictedExpressions& operator=(const RestrictedExpressions&) = delete;

  /// Compiles what is compiled at all. For a thread that no host waits for.
  void compileAhead() const;
  [[nodiscard]] bool hasSomethingToCompile() const noexcept { return !compiled_.empty(); }

  struct Answer {
    bool matches = false;
    /// A line for the log, which names expressions that could not be evaluated, by their place in the list
    /// from 0 on, and each of them once in the life of this object. Mostly empty.
    std::string report;
  };
  /// Answers as a walk up to the first expression that matches the whole identifier. Raises for one on the
  /// way that is invalid or no string, and for a list that is no array. One that cannot be evaluated within
  /// the bounds counts as no match: it is no ground to refuse every identifier.
  [[nodiscard]] Answer match(std::string_view uniqueID) const;

 private:
  struct Text {
    std::string_view text;
    std::uint32_t index = 0;
  };
  struct Compiled {
    Compiled(std::size_t place, base::RegularExpression::Matchers kind)
        : index(static_cast<std::uint32_t>(place)), matchers(kind) {}
    std::uint32_t index;
    base::RegularExpression::Matchers matchers;
    mutable std::atomic<bool> isReported = false;
    mutable std::atomic<const base::RegularExpression*> expression = nullptr;
  };

  void addTexts(const std::string& pattern, std::size_t index);
  void addExpression(const std::string& pattern, std::size_t index);
  void buildTable();
  [[nodiscard]] std::size_t indexOfText(std::string_view uniqueID) const;
  [[nodiscard]] const base::RegularExpression& expressionOf(const Compiled& compiled) const;
  [[nodiscard]] std::string reportOf(const std::vector<const Compiled*>& undecided) const;

  base::Value list_;  // owns the texts, but for those in `owned_`
  std::list<std::string> owned_;
  std::vector<Text> texts_;
  std::vector<std::uint32_t> slots_;  // places in `texts_` from 1 on; 0: free
  std::list<Compiled> compiled_;
  std::vector<std::uint32_t> tooCostly_;  // the first few that are beyond the bounds
  std::size_t tooCostlyCount_ = 0;
  mutable std::atomic<bool> areTooCostlyReported_ = false;
  std::uint64_t compileTime_ = 0;
  std::size_t compiledSize_ = 0;
  std::size_t scannedBytes_ = 0;
  std::size_t alternatives_ = 0;
  std::size_t end_ = 0;  // of the walk: the first entry that is no string, or the end of the list
};

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Value.h"
#include "tidewell/base/formats/RegularExpression.h"

namespace tidewell {

/// The expressions for restricted unique IDs. Any thread, lock-free: the first thread that needs an
/// expression compiles it, and the first result stored is used by all.
///
/// Expressions without metacharacters are compared as text, with one probe of a hash table. The others are
/// compiled and matched in the order of the list. The cost of compiling is limited per expression and in
/// total, by estimates based on the list alone; the cost of matching is limited per query. So a result
/// depends only on the list and the identifier, never on the load or on what was compiled before. A query
/// takes at most about 50 ms of processor time on present-day hardware: 30 ms to compile everything, 20 ms to
/// match.
class RestrictedExpressions {
 public:
  static constexpr std::uint64_t kMaximumCompileTime = 30000000;  ///< in total, in nanoseconds
  static constexpr std::size_t kMaximumCompiledSize = 8u << 20;   ///< in total, in bytes
  static constexpr std::int32_t kStepsOfQuestion = 4000;          ///< or one per compiled expression, if more
  /// Only this many bytes of expressions are examined; those after them count as too costly.
  static constexpr std::size_t kMaximumScannedBytes = 1u << 20;
  /// Only this many expressions have cached matchers; the others create one per match.
  static constexpr std::size_t kMaximumKeptMatchers = 128;
  /// Only this many alternatives are compared as text; later alternations are compiled.
  static constexpr std::size_t kMaximumAlternatives = 64u << 10;

  /// A nil list contains no expressions.
  explicit RestrictedExpressions(base::Value list);
  ~RestrictedExpressions();
  RestrictedExpressions(const RestrictedExpressions&) = delete;
  RestrictedExpressions& operator=(const RestrictedExpressions&) = delete;

  /// Compiles all expressions in advance. For a background thread.
  void compileAhead() const;
  /// Whether compiling takes so long that it should happen in the background.
  [[nodiscard]] bool isWorthCompilingAhead() const noexcept { return needsCompiler_; }

  struct Answer {
    bool matches = false;
    /// A log line naming the expressions that could not be evaluated, by their index in the list, each once
    /// in the lifetime of this object. Usually empty.
    std::string report;
  };
  /// The result of matching the whole identifier against each expression up to the first match. Raises for an
  /// earlier entry that is invalid or not a string, and for a list that is not an array. An expression that
  /// cannot be evaluated within the limits counts as no match, because it must not restrict every identifier.
  /// `trace`, if given, receives the expressions tried and their results; the last one may have raised.
  using Trace = std::vector<std::pair<std::uint32_t, base::MatchResult>>;
  [[nodiscard]] Answer match(std::string_view uniqueID, Trace* trace = nullptr) const;
  /// The index of the first text equal to the identifier; no value if there is none.
  [[nodiscard]] std::optional<std::size_t> textMatching(std::string_view uniqueID) const;

  /// Calls `visit(index, expression)` for each expression that is not compared as text, in the order of the
  /// list. Compiles them.
  template <class Visit>
  void visitCompiled(Visit visit) const {
    for (const Compiled& compiled : compiled_) visit(compiled.index, expressionOf(compiled));
  }
  [[nodiscard]] std::size_t compiledCount() const noexcept { return compiled_.size(); }
  /// The indices of the expressions that are never evaluated, because of the limits above.
  [[nodiscard]] const std::vector<std::uint32_t>& tooCostly() const noexcept { return tooCostly_; }
  /// An estimate, in bytes.
  [[nodiscard]] std::size_t memory() const noexcept {
    return compiledSize_ + compiled_.size() * sizeof(Compiled) + texts_.capacity() * sizeof(Text) +
           slots_.capacity() * sizeof slots_.front();
  }

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

  base::Value list_;  // owns the texts, except those in `owned_`
  std::list<std::string> owned_;
  std::vector<Text> texts_;
  std::vector<std::uint32_t> slots_;  // one more than the index in `texts_`; 0 if free
  std::list<Compiled> compiled_;
  std::vector<std::uint32_t> tooCostly_;
  mutable std::atomic<bool> areTooCostlyReported_ = false;
  std::uint64_t compileTime_ = 0;
  std::size_t compiledSize_ = 0;
  std::size_t scannedBytes_ = 0;
  std::size_t alternatives_ = 0;
  bool needsCompiler_ = false;
  std::size_t end_ = 0;  // the first entry that is not a string, or the end of the list
};

}  // namespace tidewell

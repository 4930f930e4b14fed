#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string_view>

#include "tidewell/base/RegularExpression.h"
#include "tidewell/base/Value.h"

// Internal to the core: not installed.
namespace tidewell {

/// The expressions of unique IDs that are refused. Any thread; no lock: an expression is compiled by whoever
/// needs it first, and the one that was stored first serves everybody.
class RestrictedExpressions {
 public:
  /// So many expressions from the first on, with so many bytes of text together, are compiled ahead and kept.
  /// The others are compiled when a question reaches them and then let go of, so that a hostile list costs
  /// bounded memory; that is taken off the question's budget, so that it costs bounded time, too.
  static constexpr std::size_t kMaximumKept = 1000;
  static constexpr std::size_t kMaximumKeptBytes = 256u << 10;

  /// nil is a list without expressions.
  explicit RestrictedExpressions(base::Value list);
  ~RestrictedExpressions();
  RestrictedExpressions(const RestrictedExpressions&) = delete;
  RestrictedExpressions& operator=(const RestrictedExpressions&) = delete;

  /// Compiles what is kept. For a thread that nobody waits for.
  void compileAhead() const;
  [[nodiscard]] bool hasSomethingToCompile() const noexcept { return keptCount_ > 0; }

  enum class Answer { differs, matches, undecided };
  /// Walks the list up to the first expression that matches the whole identifier. Raises for one that is
  /// invalid or no string, and for a list that is no array. `undecided`: none matches, but the budget ran out
  /// before all had answered.
  [[nodiscard]] Answer match(std::string_view uniqueID) const;

 private:
  [[nodiscard]] const base::RegularExpression& kept(std::size_t index) const;

  base::Value list_;
  std::size_t keptCount_ = 0;
  std::unique_ptr<std::atomic<const base::RegularExpression*>[]> kept_;
};

}  // namespace tidewell

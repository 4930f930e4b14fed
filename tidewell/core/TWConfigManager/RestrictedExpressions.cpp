#include "tidewell/core/TWConfigManager/RestrictedExpressions.h"

#include <algorithm>
#include <string>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/core/TWConfigManager/WrongClass.h"

namespace tidewell {
namespace {

/// Compiling so many bytes of a pattern takes about as long as one step of a match.
constexpr std::size_t kBytesAStep = 16;

/// Compiles an expression that is not kept, and takes about what that costs off the budget.
base::RegularExpression compile(const base::Value& entry, base::MatchBudget& budget) {
  if (const std::string* const pattern = entry.string()) {
    budget.steps -=
        1 + static_cast<std::int32_t>(
                std::min(pattern->size(), base::RegularExpression::kMaximumPatternLength) / kBytesAStep);
    return base::RegularExpression(*pattern);
  }
  base::raise(base::kInvalidArgumentException,
              "Can't do regex matching on object " + entry.description() + ".");
}

}  // namespace

RestrictedExpressions::RestrictedExpressions(base::Value list) : list_(std::move(list)) {
  const base::Array* const entries = list_.array();
  if (entries == nullptr) return;
  std::size_t bytes = 0;
  for (const base::Value& entry : *entries) {
    const std::string* const pattern = entry.string();
    if (keptCount_ == kMaximumKept || pattern == nullptr) break;
    bytes += pattern->size();
    if (bytes > kMaximumKeptBytes) break;
    ++keptCount_;
  }
  if (keptCount_ > 0) kept_ = std::make_unique<std::atomic<const base::RegularExpression*>[]>(keptCount_);
}

RestrictedExpressions::~RestrictedExpressions() {
  for (std::size_t index = 0; index < keptCount_; ++index)
    delete kept_[index].load(std::memory_order_relaxed);
}

const base::RegularExpression& RestrictedExpressions::kept(std::size_t index) const {
  std::atomic<const base::RegularExpression*>& place = kept_[index];
  if (const base::RegularExpression* const known = place.load(std::memory_order_acquire)) return *known;
  auto made = std::make_unique<const base::RegularExpression>(*list_.array()->begin()[index].string());
  const base::RegularExpression* first = nullptr;
  if (place.compare_exchange_strong(first, made.get(), std::memory_order_acq_rel)) return *made.release();
  return *first;
}

void RestrictedExpressions::compileAhead() const {
  for (std::size_t index = 0; index < keptCount_; ++index) static_cast<void>(kept(index));
}

RestrictedExpressions::Answer RestrictedExpressions::match(std::string_view uniqueID) const {
  const base::Array& entries = arrayOf(list_, "countByEnumeratingWithState:objects:count:");
  const base::MatchText text(uniqueID);
  base::MatchBudget budget;
  const base::MatchPlace place;
  bool undecided = false;
  for (std::size_t index = 0; index < entries.count(); ++index) {
    base::MatchResult result = base::MatchResult::undecided;
    if (index < keptCount_) {
      result = kept(index).matches(text, budget, place);
    } else if (budget.steps > 0) {
      result = compile(entries.begin()[index], budget).matches(text, budget, place);
    }
    if (result == base::MatchResult::matches) return Answer::matches;
    undecided |= result == base::MatchResult::undecided;
  }
  return undecided ? Answer::undecided : Answer::differs;
}

}  // namespace tidewell

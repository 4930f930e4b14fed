// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/RestrictedExpressions.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/StringHash.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/core/TWConfigManager/internal/WrongClass.h"

namespace tidewell {
namespace {

constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();
/// The most indices named in one line.
constexpr std::ptrdiff_t kMaximumNamed = 10;

}  // namespace

RestrictedExpressions::RestrictedExpressions(base::Value list) : list_(std::move(list)) {
  const base::Array* const entries = list_.array();
  if (entries == nullptr) return;
  for (const base::Value& entry : *entries) {
    const std::string* const pattern = entry.string();
    if (pattern == nullptr) break;  // the search ends here
    if (base::RegularExpression::isPlainText(*pattern)) {
      texts_.push_back({*pattern, static_cast<std::uint32_t>(end_)});
    } else {
      addTexts(*pattern, end_);
    }
    ++end_;
  }
  buildTable();
}

RestrictedExpressions::~RestrictedExpressions() {
  for (const Compiled& compiled : compiled_) delete compiled.expression.load(std::memory_order_relaxed);
}

void RestrictedExpressions::addTexts(const std::string& pattern, std::size_t index) {
  std::vector<std::string> texts;
  if (pattern.size() <= base::RegularExpression::kMaximumPatternLength)
    texts = base::RegularExpression::plainTexts(pattern);
  if (texts.empty() || alternatives_ + texts.size() > kMaximumAlternatives) {
    addExpression(pattern, index);
    return;
  }
  if (texts.size() > 1) alternatives_ += texts.size();
  for (std::string& text : texts) {
    owned_.push_back(std::move(text));
    texts_.push_back({owned_.back(), static_cast<std::uint32_t>(index)});
  }
}

void RestrictedExpressions::addExpression(const std::string& pattern, std::size_t index) {
  using Matchers = base::RegularExpression::Matchers;
  scannedBytes_ += pattern.size();
  const bool isScanned = scannedBytes_ <= kMaximumScannedBytes;
  if (const auto cost = base::RegularExpression::compileCost(isScanned ? pattern : std::string_view());
      isScanned && !cost.isTooHigh && compileTime_ + cost.nanoseconds <= kMaximumCompileTime &&
      compiledSize_ + cost.bytes <= kMaximumCompiledSize) {
    compileTime_ += cost.nanoseconds;
    compiledSize_ += cost.bytes;
    needsCompiler_ = needsCompiler_ || base::RegularExpression::needsCompiler(pattern);
    compiled_.emplace_back(index, compiled_.size() < kMaximumKeptMatchers ? Matchers::kept : Matchers::made);
    return;
  }
  tooCostly_.push_back(static_cast<std::uint32_t>(index));
}

void RestrictedExpressions::buildTable() {
  if (texts_.empty()) return;
  slots_.resize(std::bit_ceil(texts_.size() + texts_.size() / 3 + 1));
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t place = 0; place < texts_.size(); ++place) {
    const std::string_view text = texts_[place].text;
    std::size_t slot = base::stringHash(text) & mask;
    while (slots_[slot] != 0 && texts_[slots_[slot] - 1].text != text) slot = (slot + 1) & mask;
    if (slots_[slot] == 0) slots_[slot] = static_cast<std::uint32_t>(place + 1);  // else the first one wins
  }
}

std::size_t RestrictedExpressions::indexOfText(std::string_view uniqueID) const {
  if (texts_.empty()) return kNowhere;
  if (!base::isValidUtf8(uniqueID)) return indexOfText(base::validUtf8(uniqueID));
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = base::stringHash(uniqueID) & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
    const Text& found = texts_[slots_[slot] - 1];
    if (found.text == uniqueID) return found.index;
  }
  return kNowhere;
}

const base::RegularExpression& RestrictedExpressions::expressionOf(const Compiled& compiled) const {
  if (const auto* const known = compiled.expression.load(std::memory_order_acquire)) return *known;
  const std::string& pattern = *list_.array()->begin()[compiled.index].string();
  auto made = std::make_unique<const base::RegularExpression>(pattern, compiled.matchers);
  const base::RegularExpression* first = nullptr;
  if (compiled.expression.compare_exchange_strong(first, made.get(), std::memory_order_acq_rel))
    return *made.release();
  return *first;
}

void RestrictedExpressions::compileAhead() const {
  for (const Compiled& compiled : compiled_) static_cast<void>(expressionOf(compiled));
}

std::optional<std::size_t> RestrictedExpressions::textMatching(std::string_view uniqueID) const {
  const std::size_t index = indexOfText(uniqueID);
  return index == kNowhere ? std::nullopt : std::optional(index);
}

RestrictedExpressions::Answer RestrictedExpressions::match(std::string_view uniqueID, Trace* trace) const {
  const base::Array& entries = arrayOf(list_, "countByEnumeratingWithState:objects:count:");
  const std::size_t indexOfMatch = indexOfText(uniqueID);
  const std::size_t end = std::min(indexOfMatch, end_);
  std::vector<const Compiled*> undecided;
  if (!compiled_.empty() && compiled_.front().index < end) {
    const base::MatchText text(uniqueID);
    const base::MatchPlace place;
    // At least one step each, so that all expressions of a long, cheap list are evaluated.
    std::int32_t left = std::max(kStepsOfQuestion, static_cast<std::int32_t>(compiled_.size()));
    auto remaining = static_cast<std::int32_t>(compiled_.size());
    for (const Compiled& compiled : compiled_) {
      if (compiled.index >= end) break;
      const base::RegularExpression& expression = expressionOf(compiled);
      // An equal share of the steps left, or the minimum that it needs, if more; but one step remains for
      // each of the later expressions.
      const std::int32_t share = std::max(left / remaining, expression.leastCost(text));
      --remaining;
      base::MatchBudget budget{std::min(share, left - remaining)};
      const std::int32_t granted = budget.steps;
      if (trace != nullptr) trace->emplace_back(compiled.index, base::MatchResult::undecided);
      const base::MatchResult result = expression.matches(text, budget, place);
      if (trace != nullptr) trace->back().second = result;
      if (result == base::MatchResult::matches) return {true, reportOf(undecided)};
      if (result == base::MatchResult::undecided) undecided.push_back(&compiled);
      left -= granted - budget.steps;
    }
  }
  if (indexOfMatch == kNowhere && end_ < entries.count()) {
    base::raise(base::kInvalidArgumentException,
                "Can't do regex matching on object " + entries.begin()[end_].description() + ".");
  }
  return {indexOfMatch != kNowhere, reportOf(undecided)};
}

std::string RestrictedExpressions::reportOf(const std::vector<const Compiled*>& undecided) const {
  std::vector<std::uint32_t> named;
  std::size_t count = 0;
  if (!tooCostly_.empty() && !areTooCostlyReported_.exchange(true, std::memory_order_relaxed)) {
    count = tooCostly_.size();
    named.assign(tooCostly_.begin(), tooCostly_.begin() + std::min(std::ssize(tooCostly_), kMaximumNamed));
  }
  for (const Compiled* const compiled : undecided) {
    if (compiled->isReported.exchange(true, std::memory_order_relaxed)) continue;
    ++count;
    if (std::ssize(named) < kMaximumNamed) named.push_back(compiled->index);
  }
  if (count == 0) return {};
  std::string text = "Expressions for restricted unique IDs that cost too much count as no match: number";
  for (const std::uint32_t index : named)
    text += (index == named.front() ? " " : ", ") + std::to_string(index);
  if (count > named.size()) text += " and " + std::to_string(count - named.size()) + " more";
  return text + " of the list, counted from 0";
}

}  // namespace tidewell

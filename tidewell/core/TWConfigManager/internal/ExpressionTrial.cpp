// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/ExpressionTrial.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "tidewell/base/internal/PatternCost.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell {
namespace {

using base::MatchResult;

/// Unique IDs of many kinds; an expression that matches all of them matches everything.
constexpr std::string_view kUniqueIDs[] = {"a",
                                           "4711",
                                           "0F8FAD5B-d9cb-469f-a165-70867728950e",
                                           "user.name@example.com",
                                           "+49 170 1234567",
                                           "A_b-C",
                                           "Zo\xC3\xAB M\xC3\xBCller",
                                           "\xE6\xBC\xA2\xE5\xAD\x97"};
/// The longest text in a search for a match, in characters, and the most texts.
constexpr std::size_t kLongestText = 80;
constexpr int kMostTexts = 600;
/// The length of a text that repeats a part, in bytes; as of a long e-mail address.
constexpr std::size_t kRepeatedLength = 200;
/// Charged for a match that ends before ICU reports any progress.
constexpr std::int32_t kStepsOfCheapMatch = 3;
/// The most parts that are repeated.
constexpr std::size_t kMostParts = 8;

/// The characters to build texts from: those of the pattern first, then others.
std::vector<std::string> alphabetOf(std::string_view pattern) {
  std::vector<std::string> alphabet;
  const auto add = [&](std::string_view character) {
    if (std::find(alphabet.begin(), alphabet.end(), character) == alphabet.end())
      alphabet.emplace_back(character);
  };
  for (std::size_t at = 0; at < pattern.size() && alphabet.size() < 64;) {
    std::size_t end = at + 1;
    while (end < pattern.size() && base::continuesCharacter(pattern[end])) ++end;
    add(pattern.substr(at, end - at));
    at = end;
  }
  // Characters without a special meaning first, because they match more often.
  std::stable_partition(alphabet.begin(), alphabet.end(), [](const std::string& character) {
    return base::RegularExpression::isPlainText(character) || character.size() > 1;
  });
  for (const char* character : {"a", "A", "0", " ", "\n", "\t", "\xC3\xA9", "\xE6\xBC\xA2"}) add(character);
  for (char character = '!'; character <= '~'; ++character) add(std::string_view(&character, 1));
  return alphabet;
}

/// Whether the pattern names characters that may be missing from its alphabet.
bool namesOtherCharacters(std::string_view pattern) {
  static constexpr std::string_view kNames[] = {"\\p", "\\P", "\\N", "\\x", "\\u", "\\U", "\\c",
                                                "\\0", "\\a", "\\e", "\\f", "\\h", "\\H", "\\r",
                                                "\\R", "\\v", "\\V", "\\X", "[:"};
  return std::any_of(std::begin(kNames), std::end(kNames),
                     [&](std::string_view name) { return pattern.find(name) != std::string_view::npos; });
}

std::string withoutLastCharacter(std::string text) {
  while (!text.empty() && base::continuesCharacter(text.back())) text.pop_back();
  if (!text.empty()) text.pop_back();
  return text;
}

std::string repeated(std::string_view unit) {
  std::string text;
  while (!unit.empty() && text.size() + unit.size() <= kRepeatedLength) text += unit;
  return text;
}

}  // namespace

MatchResult ExpressionTrial::match(const base::RegularExpression& expression, bool* readToEnd) {
  const base::MatchText text(text_);
  const std::int32_t least = expression.leastCost(text);
  base::MatchBudget budget{std::max(stepsOfMatch_, least)};
  const std::int32_t granted = budget.steps;
  const MatchResult result = expression.matches(text, budget, base::MatchPlace(), readToEnd);
  const std::int32_t charged = granted - budget.steps;
  // A match that is charged the least usually costs much less.
  stepsLeft_ -= charged == least ? std::min(charged, kStepsOfCheapMatch) : std::max(charged, 1);
  return result;
}

ExpressionTrial::Search ExpressionTrial::findMatch(const base::RegularExpression& expression) {
  const std::vector<std::string> alphabet = alphabetOf(expression.pattern());
  bool isComplete = !namesOtherCharacters(expression.pattern());
  std::vector<std::size_t> letters;  // of the text, as indices in the alphabet
  text_.clear();
  for (int texts = 0; texts < kMostTexts && stepsLeft_ > 0; ++texts) {
    bool readToEnd = false;
    const MatchResult result = match(expression, &readToEnd);
    if (result != MatchResult::differs)
      return result == MatchResult::matches ? Search::found : Search::gaveUp;
    if (readToEnd && letters.size() < kLongestText) {
      letters.push_back(0);
    } else {
      isComplete = isComplete && !readToEnd;
      while (!letters.empty() && ++letters.back() == alphabet.size()) letters.pop_back();
      if (letters.empty()) return isComplete ? Search::none : Search::gaveUp;
    }
    text_.clear();
    for (const std::size_t letter : letters) text_ += alphabet[letter];
  }
  return Search::gaveUp;
}

bool ExpressionTrial::isSlowOnRepeats(const base::RegularExpression& expression, const std::string& matched) {
  const base::PatternCost cost = base::PatternCost::of(expression.pattern());
  if (!cost.isNested && !cost.hasReferences && cost.repeats < 2 && cost.options < 8) return false;
  std::vector<std::string> parts = alphabetOf(expression.pattern());
  parts.resize(std::min(parts.size(), kMostParts));
  parts.push_back(matched);
  if (!matched.empty()) parts.push_back(withoutLastCharacter(matched));
  for (const std::string& part : parts) {
    for (const std::string_view end : {"", "\x01"}) {
      if (stepsLeft_ <= 0) return false;
      text_ = repeated(part);
      text_ += end;
      if (match(expression) == MatchResult::undecided) return true;
    }
  }
  return false;
}

ExpressionTrial::Finding ExpressionTrial::operator()(const base::RegularExpression& expression) {
  if (stepsLeft_ <= 0) return Finding::untried;
  const bool matchesAll = std::all_of(std::begin(kUniqueIDs), std::end(kUniqueIDs), [&](auto uniqueID) {
    text_ = uniqueID;
    return match(expression) == MatchResult::matches;
  });
  if (matchesAll) return Finding::matchesEverything;
  const Search search = findMatch(expression);
  if (search == Search::none) return Finding::matchesNothing;
  return isSlowOnRepeats(expression, search == Search::found ? std::string(text_) : std::string())
             ? Finding::slow
             : Finding::none;
}

}  // namespace tidewell

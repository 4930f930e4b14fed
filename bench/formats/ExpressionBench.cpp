// SPDX-License-Identifier: Apache-2.0
#include <unicode/uregex.h>
#include <unicode/ustring.h>

#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Ratio.h"
#include "tidewell/base/formats/RegularExpression.h"

using namespace tidewell::base;

namespace {

constexpr std::string_view kPatterns[] = {
    "guest.*",       "anonymous|null|undefined", "[0-9]{1,3}",  "test_[a-z]+", "0{8}-0{4}-0{4}-0{4}-0{12}",
    "(?i)unknown.*", "\\w+@example\\.com",       ".*[<>\"'].*", "user_0*",     "\\s*",
};
constexpr std::string_view kText = "3f2a9b10-77aa-4bcd-9e1f-0123456789ab";

/// The patterns as the library keeps them.
bool askUs(const std::vector<RegularExpression>& expressions) {
  const MatchText text(kText);
  MatchBudget budget;
  const MatchPlace place;
  for (const RegularExpression& expression : expressions) {
    if (expression.matches(text, budget, place) == MatchResult::matches) return true;
  }
  return false;
}

/// Bare ICU matchers that are used by one thread only.
class BareMatchers {
 public:
  BareMatchers() {
    for (const std::string_view pattern : kPatterns) {
      const std::u16string units(pattern.begin(), pattern.end());
      UErrorCode status = U_ZERO_ERROR;
      matchers_.push_back(
          uregex_open(units.data(), static_cast<std::int32_t>(units.size()), 0, nullptr, &status));
    }
  }
  BareMatchers(const BareMatchers&) = delete;
  BareMatchers& operator=(const BareMatchers&) = delete;
  ~BareMatchers() {
    for (URegularExpression* matcher : matchers_) uregex_close(matcher);
  }

  bool ask() {
    char16_t text[128];
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(text, 128, &length, kText.data(), static_cast<std::int32_t>(kText.size()), &status);
    for (URegularExpression* matcher : matchers_) {
      uregex_setText(matcher, text, length, &status);
      if (uregex_matches(matcher, -1, &status)) return true;
    }
    return false;
  }

 private:
  std::vector<URegularExpression*> matchers_;
};

void askUsOften(const std::vector<RegularExpression>& expressions, std::size_t times) {
  while (times--) bench::keep(askUs(expressions));
}
void askBareOften(std::size_t times) {
  BareMatchers matchers;
  while (times--) bench::keep(matchers.ask());
}

template <class Work>
void onTwoThreads(const Work& work) {
  std::thread other(work);
  work();
  other.join();
}

}  // namespace

void addExpressions() {
  const auto expressions = std::make_shared<std::vector<RegularExpression>>();
  for (const std::string_view pattern : kPatterns) expressions->emplace_back(pattern);
  bench::Options options;
  options.secondsPerTurn = 0.05;
  bench::ratio(
      "restricted-ID question, 10 expressions, beside reused ICU matchers", 1.1,
      [expressions](std::size_t times) { askUsOften(*expressions, times); },
      [](std::size_t times) { askBareOften(times); }, options);
  bench::ratio(
      "the same on two threads", 1.1,
      [expressions](std::size_t times) { onTwoThreads([&] { askUsOften(*expressions, times); }); },
      [](std::size_t times) { onTwoThreads([times] { askBareOften(times); }); }, options);
}

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/RegularExpression.h"

#include <algorithm>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;
using vectors::repeated;

namespace {

MatchResult match(std::string_view pattern, std::string_view text) {
  MatchBudget budget;
  return RegularExpression(pattern).matches(text, budget);
}

}  // namespace

TEST(RegularExpression, MatchesLikeThePlatformsPredicate) {
  for (const auto& row : vectors::tableFile("regex_matches.tsv")) {
    SCOPED_TRACE(row.at("id"));
    const std::string pattern = vectors::cellText(row.at("pattern"));
    const std::string text = vectors::cellText(row.at("string"));
    EXPECT_EQ(RegularExpression(pattern).errorName(), row.at("icu_error"));
    try {
      EXPECT_EQ(match(pattern, text),
                row.at("matches") == "YES" ? MatchResult::matches : MatchResult::differs);
      EXPECT_NE(row.at("matches"), "raises");
    } catch (const Exception& exception) {
      EXPECT_EQ(row.at("matches"), "raises");
      EXPECT_EQ(exception.reason(), "Can't do regex matching, reason: Can't open pattern " +
                                        row.at("icu_error") + " (string " + text + ", pattern " + pattern +
                                        ", case 0, canon 0)");
    }
  }
  EXPECT_EQ(match(".", "\xFF"), MatchResult::matches);
  EXPECT_EQ(match("\xFF", "\xEF\xBF\xBD"), MatchResult::matches);
  EXPECT_EQ(match("a.b", std::string_view("a\0b", 3)), MatchResult::matches);
}

TEST(RegularExpression, ChargesEachMatchToTheSharedBudget) {
  for (const char* pattern :
       {"(a+)+b", "(a|aa)+$b", "(.*)*z", "((a*)*)*b", "(?=(a+)+b)a", "(a?){40}a{40}b"}) {
    MatchBudget budget;
    EXPECT_EQ(RegularExpression(pattern).matches(std::string(40, 'a'), budget), MatchResult::undecided)
        << pattern;
    EXPECT_EQ(budget.steps, 0) << pattern;
    EXPECT_EQ(RegularExpression("a*").matches("a", budget), MatchResult::undecided) << "budget is used up";
  }
  EXPECT_EQ(match("(?:a|b)*c", std::string(1 << 20, 'a')), MatchResult::undecided) << "memory is limited";
  MatchBudget budget;
  EXPECT_EQ(RegularExpression("user_[0-9]+").matches("user_1", budget), MatchResult::matches);
  EXPECT_EQ(budget.steps, MatchBudget::kDefaultSteps - 1);
  const RegularExpression costly("(a+)+b");
  EXPECT_EQ(costly.matches(std::string(16, 'a'), budget), MatchResult::differs);
  const std::int32_t cost = MatchBudget::kDefaultSteps - 1 - budget.steps;  // about ten thousand positions
  EXPECT_GT(cost, 50);
  EXPECT_EQ(costly.matches(std::string(16, 'a'), budget), MatchResult::differs);
  EXPECT_EQ(budget.steps, MatchBudget::kDefaultSteps - 1 - 2 * cost);
}

TEST(RegularExpression, ChargesCostsHiddenFromTheStepCountInAdvance) {
  const std::string longText(4096, 'a');
  const std::tuple<std::string, std::string, std::int32_t, std::int32_t> rows[] = {
      {"user_[0-9]+", "user_17", 1, 1},
      {"[\\w.+-]+@example\\.(com|org)", "someone@example.com", 1, 2},
      {".*foo.*", std::string(36, 'a'), 2, 5},
      {"a{1,9}b{10}(c|d)?", "ab", 1, 2},
      {"\\p{L}+\\x{2d}\\p{L}*", std::string(36, 'a'), 2, 5},
      {"(a+)+b", "a", 20, 30},
      {"(?x)(a+) +b", "a", 20, 50},
      {"(?:a\\Q\\E+)\\E+b", "a", 20, 30},
      {"(?#[)(a+)+b", "a", 20, 50},
      {repeated("()", 100) + "(a+)+b", "a", 1000, 1100},
      {"()(a+)+" + repeated("\\1", 4000) + "b", "a", 40000, 50000},
      {"(?:a?)*a{10}", longText, 20, 30},
      {"(?:a?)*" + longText + "b", longText, 6000, 8000},
      {"(a*)(?:\\1|a)*b", longText, 6000, 8000},
  };
  for (const auto& [pattern, text, atLeast, atMost] : rows) {
    SCOPED_TRACE(pattern.substr(0, 60));
    const RegularExpression expression(pattern);
    const std::int32_t cost = expression.leastCost(MatchText(text));
    EXPECT_TRUE(atLeast <= cost && cost <= atMost) << cost << expression.errorName();
    MatchBudget tooSmall{cost - 1};
    EXPECT_EQ(expression.matches(text, tooSmall), MatchResult::undecided);
    EXPECT_EQ(tooSmall.steps, cost - 1) << "the match was not started";
  }
}

TEST(RegularExpression, RefusesPatternsThatCostTooMuchToCompile) {
  const std::string longest(RegularExpression::kMaximumPatternLength, 'a');
  for (const std::string& pattern :
       {longest + "a", "(?i)" + repeated("[\\p{L}]", 64), repeated("\\N{OX}", 1300),
        "(?i)[\\W]" + repeated("[[^a]]", 4), std::string("\\p{RGI_Emoji}"), repeated("(ab){3,9}", 7000),
        repeated(".{0,9}", 9000), repeated("a?+", 5000), repeated("(?x)(a) *", 5000),
        repeated("[ab]{9}", 8000), "(?x)(? i)" + repeated("[\\p{L}]", 64), "a[" + repeated("\\d", 8000) + "]",
        "a[]" + repeated("\\d", 8000) + "]"}) {
    const RegularExpression expression(pattern);
    EXPECT_TRUE(expression.isTooCostly()) << pattern.substr(0, 40);
    MatchBudget budget;
    EXPECT_EQ(expression.matches("a", budget), MatchResult::undecided) << "too costly is not invalid";
  }
  const std::pair<std::string, std::string> rows[] = {
      {longest, longest},
      {"(?:" + repeated("abcdefgh|", 7000) + "x)[0-9]", "x1"},
      {repeated("[ab]", 500), repeated("b", 500)},
      {repeated("\\p{L}", 129), repeated("\xC3\xA9", 129)},
      {"(?i)" + repeated("[a-z]", 200), repeated("K", 200)},
      {"(((a{1,1000}){1,1000}){1,1000})", "aaa"},
  };
  for (const auto& [pattern, text] : rows)
    EXPECT_EQ(match(pattern, text), MatchResult::matches) << pattern.substr(0, 40);
  EXPECT_EQ(RegularExpression(repeated("(", 4000) + repeated(")", 4000)).errorName(),
            "U_REGEX_INTERNAL_ERROR");
}

TEST(RegularExpression, LiteralPatternsMatchAsInIcu) {
  std::vector<std::string> patterns = {
      "",      "a|b",        "a||b",       "|a",    "a|",        "^a$",     "^a|b$", "a^",    "a$b",
      "^^a",   "a$$",        "(a|b)",      "(?:a)", "^(?:a|b)$", "(a)|(b)", "(a\\)", "(?i)a", "a\\$",
      "a\\|b", "\\^a",       "\\a",        "a\\",   "(a",        "a)",      "^",     "$",     "()",
      "\xFF",  "\xC3\xA9|b", "\\\xC3\xA9", "a b",   "a#b",       "(a)$|(b)"};
  for (int c = 0; c < 128; ++c) {
    for (const char* form : {"", "\\", "a", "^"})
      patterns.push_back(form + std::string(1, static_cast<char>(c)));
  }
  int plain = 0;
  for (const std::string& pattern : patterns) {
    const std::vector<std::string> texts = RegularExpression::plainTexts(pattern);
    EXPECT_TRUE(!RegularExpression::isPlainText(pattern) || texts == std::vector{pattern}) << pattern;
    if (texts.empty()) continue;
    ++plain;
    std::vector<std::string> candidates = {"", "a", "b", "c", "ab", pattern, "\xEF\xBF\xBD", "\xC3\xA9"};
    candidates.insert(candidates.end(), texts.begin(), texts.end());
    for (const std::string& text : candidates) {
      if (text == "\xFF") continue;  // equals its well-formed replacement, another candidate
      const bool isOne = std::find(texts.begin(), texts.end(), text) != texts.end();
      EXPECT_EQ(match(pattern, text) == MatchResult::matches, isOne) << pattern << ": " << text;
    }
  }
  EXPECT_GT(plain, 250);
}

TEST(RegularExpression, TextAroundOneGapMatchesAsInIcu) {
  for (const char* pattern :
       {".*", "ab.*", ".*b", "a.*b", "^a.*$", "a\\.b.*", ".*@b\\$", ".*b$", "\xC3\xA9.*\xC3", "aa.*aa"}) {
    EXPECT_FALSE(RegularExpression::needsCompiler(pattern)) << pattern;
    const RegularExpression gap(pattern), compiled("(?:" + std::string(pattern) + ")");
    for (const char* text : {"",
                             "a",
                             "ab",
                             "a.b",
                             "axb",
                             "xb",
                             "abab",
                             "aaa",
                             "aaaa",
                             "x@b$",
                             "x@b",
                             "a\nb",
                             "ab\n",
                             "a\xC2\x85"
                             "b",
                             "a\xE2\x80\xA9",
                             "a\vb",
                             "a\x1F"
                             "b",
                             "\xC3\xA9",
                             "\xC3\xA9\xFF",
                             "a\xF0\x9F\x98\x80"
                             "b"}) {
      MatchBudget budget, asked;
      bool readToEnd = false, icuReadToEnd = false;
      EXPECT_EQ(gap.matches(MatchText(text), budget, MatchPlace(), &readToEnd),
                compiled.matches(MatchText(text), asked, MatchPlace(), &icuReadToEnd))
          << pattern << ": " << text;
      EXPECT_LE(readToEnd, icuReadToEnd) << pattern << ": " << text;
      EXPECT_EQ(budget.steps, asked.steps) << pattern << ": " << text;
    }
  }
  for (const char* pattern : {"", "a", ".*?", "a.*+", "a.*b.*", "a|b.*", "\\.*", "a.+", "a*.*", "(a).*",
                              "a$.*", "a^.*", ".*\\", "\\d.*"})
    EXPECT_TRUE(RegularExpression::needsCompiler(pattern)) << pattern;
}

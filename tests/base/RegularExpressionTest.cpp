#include "tidewell/base/RegularExpression.h"

#include <atomic>
#include <thread>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;

namespace {

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  while (times-- > 0) result += text;
  return result;
}

MatchResult match(std::string_view pattern, std::string_view text) {
  MatchBudget budget;
  return RegularExpression(pattern).matches(text, budget);
}

}  // namespace

TEST(RegularExpression, MatchesAsThePlatformsPredicate) {
  for (const auto& row : vectors::tableFile("regex_matches.tsv")) {
    SCOPED_TRACE(row.at("id"));
    const std::string pattern = vectors::cellText(row.at("pattern"));
    const std::string text = vectors::cellText(row.at("string"));
    const RegularExpression expression(pattern);
    EXPECT_EQ(expression.errorName(), row.at("icu_error"));
    if (row.at("matches") != "raises") {
      EXPECT_EQ(match(pattern, text),
                row.at("matches") == "YES" ? MatchResult::matches : MatchResult::differs);
      continue;
    }
    MatchBudget budget;
    try {
      (void)expression.matches(text, budget);
      ADD_FAILURE();
    } catch (const Exception& exception) {
      EXPECT_EQ(exception.reason(), "Can't do regex matching, reason: Can't open pattern " +
                                        row.at("icu_error") + " (string " + text + ", pattern " + pattern +
                                        ", case 0, canon 0)");
    }
  }
}

TEST(RegularExpression, StopsWhenTheBudgetIsSpent) {
  const std::string text(40, 'a');
  for (const char* pattern :
       {"(a+)+b", "(a|aa)+$b", "(.*)*z", "((a*)*)*b", "(?=(a+)+b)a", "(a?){40}a{40}b"}) {
    MatchBudget budget;
    EXPECT_EQ(RegularExpression(pattern).matches(text, budget), MatchResult::undecided) << pattern;
    EXPECT_EQ(budget.steps, 0) << pattern;
    EXPECT_EQ(RegularExpression("a*").matches(text, budget), MatchResult::undecided) << "nothing is left";
  }
  EXPECT_EQ(match("(?:a|b)*c", std::string(1 << 20, 'a')), MatchResult::undecided) << "no memory without end";
}

TEST(RegularExpression, TakesTheCostOfEachMatchOffTheSharedBudget) {
  const RegularExpression harmless("user_[0-9]+");
  const RegularExpression costly("(a+)+b");
  MatchBudget budget;
  EXPECT_EQ(harmless.matches("user_1", budget), MatchResult::matches);
  EXPECT_EQ(budget.steps, MatchBudget::kDefaultSteps - 1);
  const std::string text(18, 'a');  // some hundred thousand places
  const std::int32_t before = budget.steps;
  EXPECT_EQ(costly.matches(text, budget), MatchResult::differs);
  const std::int32_t cost = before - budget.steps;
  EXPECT_GT(cost, 200);
  int asked = 1;
  for (; costly.matches(text, budget) != MatchResult::undecided; ++asked) ASSERT_LT(asked, 100);
  EXPECT_EQ(asked, before / cost) << "each costs the same";
}

TEST(RegularExpression, ChargesMoreForPatternsThatDoMoreBetweenPlaces) {
  const std::string text(14, 'a');
  MatchBudget shortBudget;
  EXPECT_EQ(RegularExpression("()(a+)+b").matches(text, shortBudget), MatchResult::differs);
  MatchBudget longBudget;
  (void)RegularExpression("()(a+)+" + repeated("\\1", 4000) + "b").matches(text, longBudget);
  EXPECT_LT(longBudget.steps, shortBudget.steps - 500);
}

TEST(RegularExpression, RefusesPatternsThatTakeLongToCompile) {
  const std::size_t longest = RegularExpression::kMaximumPatternLength;
  EXPECT_TRUE(RegularExpression(std::string(longest, 'a')).isValid());
  EXPECT_EQ(RegularExpression(std::string(longest + 1, 'a')).errorName(), "U_REGEX_PATTERN_TOO_BIG");
  EXPECT_TRUE(RegularExpression(repeated("[ab]", RegularExpression::kMaximumSets)).isValid());
  for (const char* set : {"[a]", "\\p{L}", "\\PL"}) {
    EXPECT_EQ(RegularExpression("(?i)" + repeated(set, RegularExpression::kMaximumSets + 1)).errorName(),
              "U_REGEX_PATTERN_TOO_BIG");
  }
  EXPECT_FALSE(RegularExpression(repeated("(", 4000) + repeated(")", 4000)).isValid());
  EXPECT_EQ(match("(((a{1,1000}){1,1000}){1,1000})", "aaa"), MatchResult::matches);
}

TEST(RegularExpression, TakesTextThatIsNoText) {
  EXPECT_EQ(match(".", "\xFF"), MatchResult::matches);
  EXPECT_EQ(match("\xFF", "\xEF\xBF\xBD"), MatchResult::matches);
  EXPECT_EQ(match("a.b", std::string_view("a\0b", 3)), MatchResult::matches);
}

TEST(RegularExpression, AnswersManyThreadsAtOnce) {
  const RegularExpression expression("(user|guest)_[0-9]{1,6}");
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 12; ++i) {  // more than there are kept matchers
    threads.emplace_back([&expression, &wrong, i] {
      const std::string yes = "user_" + std::to_string(i);
      const std::string no = "nobody_" + std::to_string(i);
      for (int k = 0; k < 500; ++k) {
        MatchBudget budget;
        if (expression.matches(yes, budget) != MatchResult::matches) ++wrong;
        if (expression.matches(no, budget) != MatchResult::differs) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

#include <stdexcept>
#include <thread>
#include <tuple>

#include "core/CoreFixture.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

class LoggerTest : public CoreFixture {
 protected:
  static void setLevels(const std::vector<std::int64_t>& levels) {
    TWLogger::debug(0);
    TWLogger::setMinimumSeverity(0);
    TWLogger::setShouldLogInVerboseMessage(true);
    for (const std::int64_t level : levels) TWLogger::debug(level);
  }
};

/// A value whose description logs and raises, as an object of a host's may.
base::Value raisingValue() {
  static const base::ObjectOperations operations{[](const void*) -> std::string {
                                                   TWLogger::logWithVerbosity(1, 5, {"inside"});
                                                   throw std::runtime_error("no description");
                                                 },
                                                 [](const void* a, const void* b) { return a == b; },
                                                 [](const void*) { return std::size_t{0}; },
                                                 [](const void*) { return std::string("Raising"); }};
  return base::ObjectHandle{std::make_shared<int>(0), &operations};
}

const base::Array kMessage{"message"};
const base::Array kDetails{"TWConfigManager", 120, "isLogentriesEnabled", "message"};
const std::string kDetailed =
    "Tidewell - <file - TWConfigManager, line number - 120 , method - 'isLogentriesEnabled'> message";

TEST_F(LoggerTest, LevelVerbosityAndSeverityDecideWhatIsWritten) {
  const struct {
    std::vector<std::int64_t> levels;
    std::int64_t verbosity;
    std::int32_t severity;
    base::Array arguments;
    Lines expected;
  } cases[] = {
      {{}, 1, 5, kMessage, {}},
      {{1}, 1, 0, kMessage, {"Tidewell - message"}},
      {{1}, 1, 0, {"100%@ %d"}, {"Tidewell - 100%@ %d"}},
      {{1}, 2, 4, kDetails, {kDetailed}},
      {{1}, 2, 4, {"F", 1, "m"}, {"Tidewell - <file - F, line number - 1 , method - 'm'> (null)"}},
      {{1}, 3, 5, kMessage, {}},
      {{1, 7}, 1, 0, kMessage, {"Tidewell - message"}},
      {{1, 0}, 1, 5, kMessage, {}},
      {{2}, 1, 3, kMessage, {}},
      {{2}, 1, 4, kMessage, {"[EXCEPTION]\tTidewell - message"}},
      {{2}, 2, 5, {"F", 1, "m", "x"}, {"[ERROR]\tTidewell - <file - F, line number - 1 , method - 'm'> x"}},
      {{2}, 1, -1, kMessage, {"[]\tTidewell - message"}},
      {{2}, 3, 5, kMessage, {"[ERROR]\t(null)"}},
      {{2, 1}, 1, 3, kMessage, {}},
      {{2, 1}, 1, 5, kMessage, {"[ERROR]\tTidewell - message"}},
  };
  for (const auto& each : cases) {
    setLevels(each.levels);
    TWLogger::logWithVerbosity(each.verbosity, each.severity, each.arguments);
    EXPECT_EQ(lines(), each.expected) << "verbosity " << each.verbosity << ", severity " << each.severity
                                      << ", last level " << (each.levels.empty() ? -1 : each.levels.back());
  }
}

TEST_F(LoggerTest, AMinimumSeverityFiltersVerboseMessagesOnly) {
  TWLogger::setMinimumSeverity(4);
  for (const auto& [inDebug, verbose, writesInfo, writesError] :
       {std::tuple{false, false, false, false}, {true, false, true, true}, {false, true, false, true}}) {
    TWLogger::setShouldLogInDebug(inDebug);
    TWLogger::setShouldLogInVerboseMessage(verbose);
    EXPECT_EQ(TWLogger::writes(TWLogSeverityInfo), writesInfo);
    EXPECT_EQ(TWLogger::writes(TWLogSeverityError), writesError);
    EXPECT_EQ(TWLogger::loggingEnabled(), writesError);
  }
  TWLogger::debug(TWLogLevelDebug);
  TWLogger::debug(TWLogLevelExceptionsAndErrors);
  EXPECT_FALSE(TWLogger::shouldLogInDebug());
}

TEST_F(LoggerTest, LinesAreFormattedWhateverTheSwitchesSay) {
  EXPECT_EQ(TWLogger::getLogforVerbosity(1, 5, kMessage), Text("Tidewell - message"));
  EXPECT_EQ(TWLogger::getLogforVerbosity(3, 5, kMessage), Text());
  TWLogger::debug(2);
  EXPECT_EQ(TWLogger::getLogforVerbosity(1, 3, kMessage), Text("[WARNING]\tTidewell - message"));
  EXPECT_EQ(TWLogger::createLog("%@ of %ld", {"one", 2}), Text("one of 2"));
  EXPECT_EQ(TWLogger::createLog("%@%@%@%@%@%@%@%@%@%@%@ %@", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}),
            Text("1234567891011 12"))
      << "the bound of eleven is a line's";
  EXPECT_EQ(TWLogger::createLog(std::nullopt), Text());
  EXPECT_EQ(lines(), Lines());
}

TEST_F(LoggerTest, TemplatesOfTheHostAreUsedAndTakeElevenArguments) {
  TWLogger::debug(1);
  TWLogger::setFormat("%@%@%@%@%@%@%@%@%@%@%@ %@", 1);
  TWLogger::setFormat("ignored", 3);
  TWLogger::logWithVerbosity(1, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  TWLogger::log("%@%@%@%@%@%@%@%@%@%@%@ %@", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  TWLogger::setFormat(std::nullopt, 2);
  TWLogger::logWithVerbosity(2, 0, kDetails);
  TWLogger::initialize();  // runs once, so it changes nothing now
  EXPECT_EQ(TWLogger::formatForVerbosity(2), std::nullopt);
  TWLogger::setupDefaultFormats();
  TWLogger::logWithVerbosity(1, 0, kMessage);
  EXPECT_EQ(lines(), (Lines{"1234567891011 (null)", "1234567891011 12", "Tidewell - message"}));
  EXPECT_EQ(TWLogger::formatForVerbosity(3), std::nullopt);
}

TEST_F(LoggerTest, AnArgumentThatRaisesEndsInALineAndNothingElse) {
  const base::Array arguments{raisingValue()};
  EXPECT_EQ(TWLogger::getLogforVerbosity(1, 0, arguments), std::nullopt);
  EXPECT_EQ(TWLogger::createLog("%@", arguments), std::nullopt);
  EXPECT_EQ(lines(), Lines(2, "Tidewell - Caught an exception in TWLogger"));
  TWLogger::logWithVerbosity(1, 5, arguments);
  EXPECT_EQ(lines(), Lines());
  TWLogger::debug(1);
  TWLogger::logWithVerbosity(1, 5, arguments);
  EXPECT_EQ(lines(), (Lines{"Tidewell - inside", "Caught an exception in TWLogger"}));
}

TEST_F(LoggerTest, AnOffLineNeverBuildsItsTextAndReportsOfTheLayersBelowAreWarnings) {
  int built = 0;
  for (const std::int64_t level : {0, 2, 1}) {
    TWLogger::setMinimumSeverity(0);
    TWLogger::debug(level);
    logLine([&] { return std::to_string(++built); });
    platform::report("disk full");
    EXPECT_EQ(lines(), level == 1 ? (Lines{"Tidewell - 1", "Tidewell - disk full"}) : Lines());
  }
  EXPECT_EQ(built, 1);
}

TEST_F(LoggerTest, TemplatesAndSwitchesChangeWhileOthersLog) {
  TWLogger::debug(1);
  std::thread writer([] {
    for (int i = 0; i < 500; ++i) {
      TWLogger::setFormat(i % 2 ? "odd %@" : "even %@", 1);
      TWLogger::debug(i % 3);
    }
  });
  for (int i = 0; i < 500; ++i) TWLogger::logWithVerbosity(1, 5, {i});
  writer.join();
  for (const std::string& line : lines()) {
    EXPECT_TRUE(line.find("odd ") != line.npos || line.find("even ") != line.npos ||
                line.find("Tidewell - ") != line.npos)
        << line;
  }
}

}  // namespace
}  // namespace tidewell

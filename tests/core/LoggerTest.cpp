// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>

#include <stdexcept>
#include <thread>
#include <tuple>

#include "core/CoreFixture.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

class LoggerTest : public CoreFixture {};

const base::Array kMessage{"message"};
const base::Array kDetails{"TWConfigManager", 120, "isLogentriesEnabled", "message"};
const base::Array kTwelve{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
const char* const kTakesTwelve = "%@%@%@%@%@%@%@%@%@%@%@ %@";

TEST_F(LoggerTest, LevelVerbosityAndSeverityDecideWhatIsWritten) {
  const std::tuple<std::vector<std::int64_t>, std::int64_t, std::int32_t, base::Array, Lines> cases[] = {
      {{}, 1, 5, kMessage, {}},
      {{1}, 1, 0, kMessage, {"Tidewell - message"}},
      {{1}, 0, 5, kMessage, {}},
      {{1}, 1, 0, {"100%@ %d"}, {"Tidewell - 100%@ %d"}},
      {{1}, 2, 4, kDetails, {caughtLine("TWConfigManager", 120, "isLogentriesEnabled", "message")}},
      {{1}, 2, 4, {"F", 1, "m"}, {caughtLine("F", 1, "m", "(null)")}},
      {{1}, 3, 5, kMessage, {}},
      {{1, 0}, 1, 5, kMessage, {}},
      {{2}, 1, 3, kMessage, {}},
      {{2}, 1, 4, kMessage, {"[EXCEPTION]\tTidewell - message"}},
      {{2}, 2, 5, {"F", 1, "m", "x"}, {"[ERROR]\t" + caughtLine("F", 1, "m", "x")}},
      {{2}, 1, -1, kMessage, {"[]\tTidewell - message"}},
      {{2, 1}, 1, 5, kMessage, {"[ERROR]\tTidewell - message"}},
  };
  for (const auto& [levels, verbosity, severity, arguments, expected] : cases) {
    TWLogger::debug(0);
    TWLogger::setMinimumSeverity(0);
    TWLogger::setShouldLogInVerboseMessage(true);
    for (const std::int64_t level : levels) TWLogger::debug(level);
    TWLogger::logWithVerbosity(verbosity, severity, arguments);
    EXPECT_EQ(lines(), expected) << ::testing::PrintToString(levels) << severity;
  }
  TWLogger::debug(2);
  TWLogger::setMinimumSeverity(1);
  for (const auto& [severity, label] : {std::pair{1, "[DEBUG]"}, {2, "[INFO]"}, {3, "[WARNING]"}}) {
    TWLogger::logWithVerbosity(1, severity, kMessage);
    EXPECT_EQ(lines(), Lines{std::string(label) + "\tTidewell - message"});
  }
  TWLogger::setMinimumSeverity(4);
  for (const auto& [inDebug, verbose, writesInfo, writesError] :
       {std::tuple{false, false, false, false}, {true, false, true, true}, {false, true, false, true}}) {
    TWLogger::setShouldLogInDebug(inDebug);
    TWLogger::setShouldLogInVerboseMessage(verbose);
    EXPECT_EQ(TWLogger::writes(TWLogSeverityInfo), writesInfo);
    EXPECT_EQ(TWLogger::writes(TWLogSeverityError), writesError);
    EXPECT_EQ(TWLogger::loggingEnabled(), writesError);
  }
}

TEST_F(LoggerTest, TheLevelOfThePolicyWinsOverEverySwitch) {
  const std::pair<bool, bool> written[] = {{false, false}, {true, true}, {false, true}};
  for (const std::int64_t level : {0, 1, 2}) {
    platform->setPolicy(platform::Policy().setLogLevel(level));
    platform->restart();
    for (const std::int64_t chosen : {0, 1, 2}) {
      TWLogger::debug(chosen);
      TWLogger::setMinimumSeverity(TWLogSeverityWarning);
      EXPECT_EQ(std::pair(TWLogger::writes(0), TWLogger::writes(5)), written[level]) << level << chosen;
    }
  }
}

TEST_F(LoggerTest, HostTemplatesApplyAndTakeUpToElevenArguments) {
  EXPECT_EQ(TWLogger::getLogforVerbosity(1, 5, kMessage), Text("Tidewell - message")) << "even if off";
  EXPECT_EQ(TWLogger::getLogforVerbosity(3, 5, kMessage), Text());
  EXPECT_EQ(TWLogger::createLog(kTakesTwelve, kTwelve), Text("1234567891011 12"));
  EXPECT_EQ(TWLogger::createLog(std::nullopt), Text());
  TWLogger::debug(1);
  TWLogger::setFormat(kTakesTwelve, 1);
  TWLogger::logWithVerbosity(1, 0, kTwelve);
  TWLogger::log(kTakesTwelve, kTwelve);
  TWLogger::setFormat(std::nullopt, 2);
  TWLogger::logWithVerbosity(2, 0, kDetails);
  TWLogger::initialize();  // has run before, so it keeps the templates
  EXPECT_EQ(TWLogger::formatForVerbosity(2), std::nullopt);
  TWLogger::setupDefaultFormats();
  TWLogger::logWithVerbosity(1, 0, kMessage);
  EXPECT_EQ(lines(), (Lines{"1234567891011 (null)", "1234567891011 12", "Tidewell - message"}));
}

TEST_F(LoggerTest, AnArgumentThatLogsAndRaisesGivesOneLine) {
  static const base::ObjectOperations raising{[](const void*) -> std::string {
                                                pthread_testcancel();
                                                TWLogger::logWithVerbosity(1, 5, {"inside"});
                                                throw std::runtime_error("no description");
                                              },
                                              [](const void*, const void*) {
                                                pthread_testcancel();
                                                return true;
                                              },
                                              [](const void*) { return std::size_t{0}; },
                                              [](const void*) { return std::string("Raising"); }};
  const base::Array arguments{base::ObjectHandle{std::make_shared<int>(0), &raising}};
  EXPECT_EQ(TWLogger::getLogforVerbosity(1, 0, arguments), std::nullopt);
  EXPECT_EQ(lines(), Lines{"Tidewell - Caught an exception in TWLogger"});
  TWLogger::logWithVerbosity(1, 5, arguments);
  EXPECT_EQ(lines(), Lines());
  TWLogger::debug(1);
  std::thread([&] {
    pthread_cancel(pthread_self());
    TWLogger::logWithVerbosity(1, 5, arguments);
    EXPECT_EQ(arguments, base::Array{base::ObjectHandle({std::make_shared<int>(0), &raising})});
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  }).join();
  EXPECT_EQ(lines(), (Lines{"Tidewell - inside", "Caught an exception in TWLogger"}));
}

TEST_F(LoggerTest, DisabledLinesAreNotFormattedAndReportsAreWarnings) {
  int built = 0;
  TWLogger::log("off");
  for (const std::int64_t level : {0, 2, 1}) {
    TWLogger::setMinimumSeverity(0);
    TWLogger::debug(level);
    logLine([&] { return std::to_string(++built); });
    platform::report("disk full");
    EXPECT_EQ(lines(), level == 1 ? (Lines{"Tidewell - 1", "Tidewell - disk full"}) : Lines());
  }
  const std::pair<Text, Lines> templates[] = {
      {"no place", {"no place"}}, {"%% %@", {"% m"}}, {"%@ %@", {"m (null)"}}, {std::nullopt, {}}};
  for (const auto& [format, line] : templates) {
    TWLogger::setFormat(format, 1);
    logLine([] { return "m"; });
    EXPECT_EQ(lines(), line);
  }
}

// Shipping

void ship(base::Value message, base::Value trace = {}) {
  TWLogger::logWithVerbosity(1, 5, {std::move(message)}, trace);
}

class LogShippingTest : public CoreFixture {
 protected:
  LogShippingTest() { TWCoreUtils::saveAppId("ABC123"); }

  static void enable(base::Value token = "tok-1") {
    TWConfigManager::sharedInstance().updateConfigFromResponse(
        base::Dictionary{{"le_s", "allowed"}, {"le_tkn", std::move(token)}});
  }
  base::Value shipped(std::string_view key) {
    return base::JSONObjectWithData(*sent().back().request.HTTPBody()).dictionary()->objectForKey(key);
  }
  void answerAll(std::int64_t status) {
    while (platform->testNetwork().answer(testing::ScriptedNetwork::reply(status))) runUntilIdle();
  }
};

TEST_F(LogShippingTest, LinesAreShippedAtAnyConsoleLevel) {
  ship("shipping is not enabled yet");
  enable();
  ship("boom", "frame 1");
  ASSERT_EQ(sent().size(), 1u);
  EXPECT_EQ(sent()[0].request.URL()->absoluteString(),
            "https://" + std::string(HOST_LOGENTRIES) + ":443/noformat/logs/tok-1");
  EXPECT_EQ(
      sent()[0].request.HTTPBody(),
      Text(R"({"appid":"ABC123","uid":"6F9619FF-8B86-D011-B42D-00C04FC964FF-1542042309","lvl":"ERROR",)"
           R"("tb":"frame 1","sdk_ver":")" +
           std::string(TidewellCoreVersionString) + R"(","msg":"Tidewell - boom","tm_s":"1542042309"})"));
  TWLogger::debug(2);
  ship(std::string("a\xFF\x01") + '\0' + "\xE2\x82");
  EXPECT_EQ(shipped("msg"), base::Value(std::string("[ERROR]\tTidewell - a\uFFFD\x01") + '\0' + "\uFFFD"));
  EXPECT_EQ(shipped("tb"), base::Value(""));
  TWLogger::debug(0);
  TWLogger::logWithVerbosity(3, 5, {"no template"}, base::Value());
  EXPECT_EQ(sent().size(), 2u);
}

TEST_F(LogShippingTest, ALineThatCannotBeShippedIsLogged) {
  TWLogger::debug(1);
  enable(7);
  lines();
  ship("token is a number");
  expectLinesBeginning(
      {"Tidewell - token is a number",
       caughtLine("TWLogger", 209, "sendLogToLogEntries:andTraceBack:andLevel:", "Exception Config API : ")});
  enable("");
  lines();
  TWLogger::sendLogToLogEntries(base::Date{0}, {}, {});  // cannot be written as JSON
  EXPECT_NE(lines().back().find("line number - 209 "), std::string::npos);
  for (const std::optional<std::string_view> appId : {std::optional<std::string_view>(""), {}}) {
    TWCoreUtils::saveAppId(appId);
    ship("x");
    EXPECT_EQ(lines(), (Lines{"Tidewell - x", "Tidewell - App ID is missing in the initialize call"}));
  }
  EXPECT_EQ(sent().size(), 0u);

  TWCoreUtils::saveAppId("ABC123");
  ship("x");
  EXPECT_TRUE(sent().back().request.URL()->absoluteString().ends_with("/noformat/logs/"));
  lines();
  answerAll(500);
  expectLinesBeginning({"Tidewell - 🛑 The connection failed", "Tidewell - Logentries failed to sync"});
  EXPECT_EQ(sent().size(), 1u) << "the failure is not shipped";
  TWNetworkClient().fetchRequest(platform::UrlRequest(std::nullopt), {});
  runUntilIdle();
  EXPECT_EQ(shipped("lvl"), base::Value("DEBUG")) << "the failure of another request is";
}

TEST_F(LogShippingTest, LinesInFlightAreLimitedInCountAndBytes) {
  enable();
  std::thread thread([] {
    for (int i = 0; i < 50'000; ++i) ship("storm");
  });
  for (int i = 0; i < 50'000; ++i) ship("storm");
  thread.join();
  EXPECT_EQ(sent().size(), TWLogger::kMaximumShippedLines);
  TWLogger::debug(1);
  ship("lost");
  EXPECT_EQ(lines(), (Lines{"Tidewell - lost", "Tidewell - Logentries failed to sync"}));
  TWLogger::debug(0);
  answerAll(204);
  const std::string megabyte(1 << 20, 'x');
  for (int i = 0; i < 10; ++i) ship(megabyte);
  EXPECT_EQ(sent().size(), TWLogger::kMaximumShippedLines + 3) << "the template's own bytes count";
  answerAll(204);
  ship(std::string(TWLogger::kMaximumShippedBytes, 'x'));
  EXPECT_EQ(sent().size(), TWLogger::kMaximumShippedLines + 3);
  ship(megabyte + megabyte);
  EXPECT_EQ(sent().size(), TWLogger::kMaximumShippedLines + 4) << "answered lines no longer count";
}

}  // namespace
}  // namespace tidewell

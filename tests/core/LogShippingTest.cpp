#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "core/CoreFixture.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

using testing::ScriptedNetwork;

void logWithTrace(base::Value message, base::Value trace = {}) {
  TWLogger::logWithVerbosity(1, 5, {std::move(message)}, trace);
}

class LogShippingTest : public CoreFixture {
 protected:
  LogShippingTest() { TWCoreUtils::saveAppId("ABC123"); }

  static void enable(base::Value token = "tok-1") {
    TWConfigManager::sharedInstance().updateConfigFromResponse(
        base::Dictionary{{"le_s", "allowed"}, {"le_tkn", std::move(token)}});
  }
  std::size_t sentCount() { return platform->testNetwork().sent().size(); }
  base::Dictionary lastPayload() {
    return *base::JSONObjectWithData(*platform->testNetwork().sent().back().request.HTTPBody()).dictionary();
  }
};

TEST_F(LogShippingTest, ALineIsShippedWhateverTheSwitchesSay) {
  logWithTrace("too early");
  EXPECT_EQ(sentCount(), 0u);
  enable();
  logWithTrace("boom", "frame 1");
  ASSERT_EQ(sentCount(), 1u);
  const platform::UrlRequest request = platform->testNetwork().sent()[0].request;
  EXPECT_EQ(request.URL()->absoluteString(),
            "https://" + std::string(HOST_LOGENTRIES) + ":443/noformat/logs/tok-1");
  EXPECT_EQ(
      request.HTTPBody(),
      Text(R"({"appid":"ABC123","uid":"6F9619FF-8B86-D011-B42D-00C04FC964FF-1542042309","lvl":"ERROR",)"
           R"("tb":"frame 1","sdk_ver":")" +
           std::string(TidewellCoreVersionString) + R"(","msg":"Tidewell - boom","tm_s":"1542042309"})"));
  TWLogger::debug(2);
  logWithTrace("boom");
  EXPECT_EQ(lastPayload().objectForKey("msg"), base::Value("[ERROR]\tTidewell - boom"));
  EXPECT_EQ(lastPayload().objectForKey("tb"), base::Value(""));
  TWLogger::debug(0);
  TWLogger::logWithVerbosity(3, 5, {"no template"}, base::Value());
  EXPECT_EQ(sentCount(), 2u);
}

TEST_F(LogShippingTest, TokensThatAreMissingOrNoText) {
  TWLogger::debug(1);
  enable("");
  logWithTrace("bare");
  EXPECT_TRUE(
      platform->testNetwork().sent().back().request.URL()->absoluteString().ends_with("/noformat/logs/"));
  enable(7);
  lines();
  logWithTrace("bad token");
  EXPECT_EQ(sentCount(), 1u);
  const Lines logged = lines();
  ASSERT_EQ(logged.size(), 2u);
  EXPECT_TRUE(
      logged[1].starts_with("Tidewell - <file - TWLogger, line number - 209 , method - "
                            "'sendLogToLogEntries:andTraceBack:andLevel:'> Exception Config API : "))
      << logged[1];
  enable();
  lines();
  TWLogger::sendLogToLogEntries(base::Date{0}, {},
                                {});  // no JSON, so no request: that raises when it is sent
  EXPECT_EQ(sentCount(), 1u);
  const Lines unsent = lines();
  ASSERT_EQ(unsent.size(), 6u);
  EXPECT_NE(unsent[4].find("line number - 162 "), std::string::npos) << unsent[4];
  EXPECT_NE(unsent[5].find("line number - 209 "), std::string::npos) << unsent[5];
}

TEST_F(LogShippingTest, WithoutAppIDNothingIsSent) {
  enable();
  TWLogger::debug(1);
  for (const std::optional<std::string_view> appId : {std::optional<std::string_view>(""), {}}) {
    TWCoreUtils::saveAppId(appId);
    logWithTrace("x");
    EXPECT_EQ(lines(), (Lines{"Tidewell - x", "Tidewell - App ID is missing in the initialize call"}));
  }
  EXPECT_EQ(sentCount(), 0u);
}

TEST_F(LogShippingTest, AFailureIsOneLineAndIsNotShippedWhereAFailedTransferIs) {
  enable();
  answerEverythingWith(500);
  logWithTrace("x");
  TWLogger::debug(1);
  runUntilIdle();
  const Lines logged = lines();
  EXPECT_EQ(std::count(logged.begin(), logged.end(), "Tidewell - Logentries failed to sync"), 1);
  EXPECT_EQ(logged.size(), 2u) << "beside it the network client's own line";
  EXPECT_EQ(sentCount(), 1u);
  answerEverythingWith(204);
  TWNetworkClient().fetchRequest(platform::UrlRequest(std::nullopt), {});
  lines();
  runUntilIdle();
  EXPECT_EQ(lastPayload().objectForKey("lvl"), base::Value("DEBUG"));
}

TEST_F(LogShippingTest, AStormIsBoundedAndTheServiceMayRecover) {
  enable();
  for (std::size_t i = 0; i < 100'000; ++i) logWithTrace("storm");
  EXPECT_EQ(sentCount(), TWLogger::kMaximumShippedLines);
  TWLogger::debug(1);
  logWithTrace("lost");
  EXPECT_EQ(lines(), (Lines{"Tidewell - lost", "Tidewell - Logentries failed to sync"}));
  TWLogger::debug(0);
  while (platform->testNetwork().answer(ScriptedNetwork::reply(204))) runUntilIdle();
  const std::string megabyte(1 << 20, 'x');
  for (int i = 0; i < 10; ++i) logWithTrace(megabyte);
  EXPECT_EQ(sentCount(), TWLogger::kMaximumShippedLines + 3) << "the template's own bytes count";
  while (platform->testNetwork().answer(ScriptedNetwork::reply(204))) runUntilIdle();
  logWithTrace(std::string(TWLogger::kMaximumShippedBytes, 'x'));
  EXPECT_EQ(sentCount(), TWLogger::kMaximumShippedLines + 3);
  logWithTrace(megabyte + megabyte);
  EXPECT_EQ(sentCount(), TWLogger::kMaximumShippedLines + 4) << "what was answered makes room again";
}

TEST_F(LogShippingTest, AnyBytesAreShipped) {
  enable();
  logWithTrace(std::string("a\xFF\x01") + '\0' + "\xE2\x82", std::string("\xC0"));
  EXPECT_EQ(lastPayload().objectForKey("msg"),
            base::Value(std::string("Tidewell - a\uFFFD\x01") + '\0' + "\uFFFD"));
  EXPECT_EQ(lastPayload().objectForKey("tb"), base::Value("\uFFFD"));
}

TEST_F(LogShippingTest, CompletionsAndOtherThreadsMayLog) {
  enable();
  answerEverythingWith(500);
  TWNetworkClient().fetchRequest(std::nullopt,
                                 [](bool, const base::Value&) { logWithTrace("in a completion"); });
  std::thread thread([] {
    for (int i = 0; i < 50; ++i) logWithTrace("elsewhere");
  });
  for (int i = 0; i < 50; ++i) logWithTrace("here");
  thread.join();
  EXPECT_EQ(sentCount(), 101u);
}

/// Ships a line while the process ends, and shows what came of it.
struct ShipsAtExit {
  ~ShipsAtExit() {
    logWithTrace("goodbye", "trace");
    auto& machine = dynamic_cast<testing::TestingPlatform&>(platform::Platform::current());
    const auto shipped = machine.testNetwork().sent().back().request.HTTPBody();
    if (!shipped || shipped->find("goodbye") == std::string::npos) return;
    for (const std::string& line : machine.testConsole().lines()) {
      if (line.ends_with("goodbye")) std::fprintf(stderr, "%s, shipped\n", line.c_str());
    }
  }
};

TEST_F(LogShippingTest, LinesAreShippedFromDestructorsAtExitWhileAThreadStillLogs) {
  enable();
  EXPECT_EXIT(
      {
        static const ShipsAtExit last;
        TWLogger::debug(1);
        std::thread([] {
          for (;;) TWLogger::logWithVerbosity(1, 5, {"running"});
        }).detach();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "Tidewell - goodbye, shipped");
}

}  // namespace
}  // namespace tidewell

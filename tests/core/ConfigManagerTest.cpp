#include "ConfigModel.h"
#include "core/CoreFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

using base::Value;
using Lines = std::vector<std::string>;

class ConfigManager : public CoreFixture {
 protected:
  std::unique_ptr<TWConfigManager> manager = std::make_unique<TWConfigManager>();
  void relaunch() { manager = std::make_unique<TWConfigManager>(); }
  void merge(std::string_view json) { manager->updateConfigFromResponse(base::JSONObjectWithData(json)); }
  std::optional<std::string> file() {
    return platform->testFiles().contents(*manager->getFilePathForConfig());
  }
};

TEST_F(ConfigManager, ADownloadIsDueAfterAnHour) {
  const base::Date now = platform->testClock().now();
  const std::pair<Value, bool> cases[] = {
      {{}, true},
      {base::Date{now.secondsSince1970 - 59 * 60}, false},
      {base::Date{now.secondsSince1970 - 3599.999}, false},
      {base::Date{now.secondsSince1970 - 3600}, true},
      {base::Date{now.secondsSince1970 - 7200}, true},
      {base::Date{now.secondsSince1970 + 86400}, false},
      {"yesterday", true},
  };
  for (const auto& [stored, due] : cases) {
    platform->standardUserDefaults().setObject(stored, kConfigLastUpdatedKey);
    EXPECT_EQ(manager->shouldSyncConfig(), due) << stored.description();
  }
}

TEST_F(ConfigManager, AReplyIsAWholeSnapshotOfTheServersSettings) {
  merge(
      R"({"a_s":"blocked","le_s":"allowed","p_f_t":300,"b_e":["x"],"e_b_c":5,"d_r_r":"SERV3","d_t_opt_out":true})");
  manager->setDataRedirectionRegion(TWDataRegionEurope);
  manager->setUserPushNotificationOptedOut(true);
  merge(R"({"a_s":null})");
  ConfigModel expected;
  expected.setDataRedirectionRegion(1);
  expected.setUserPushNotificationOptedOut(true);
  const auto nothing = [] { return Lines(); };
  EXPECT_EQ(answersOf(*manager, {"x"}, nothing), answersOf(expected, {"x"}, nothing));
  relaunch();
  EXPECT_EQ(answersOf(*manager, {"x"}, nothing), answersOf(expected, {"x"}, nothing));
}

TEST_F(ConfigManager, AMergeStopsAtTheFirstBadValueAndLeavesTheFile) {
  merge(R"({"le_tkn":"kept"})");
  const auto before = file();
  TWLogger::debug(TWLogLevelDebug);
  lines();
  merge(R"({"i_s":"blocked","p_f_t":[1],"e_b_c":7})");
  EXPECT_FALSE(manager->isInAppServiceActive()) << "what came before is in force";
  EXPECT_EQ(manager->getEventBatchCount(), 30) << "what comes after is not";
  EXPECT_EQ(*manager->getLogEntriesToken().string(), "kept");
  EXPECT_EQ(lines(), Lines{"Tidewell - <file - TWConfigManager, line number - 118 , method - "
                           "'updateConfigFromResponse:'> exception is -[__NSArrayI integerValue]: "
                           "unrecognized selector sent to instance"});
  EXPECT_EQ(file(), before);
}

TEST_F(ConfigManager, EveryChangeIsOneWrite) {
  auto& files = platform->testFiles();
  EXPECT_EQ(files.count(testing::FileOperation::read), 1u);
  EXPECT_EQ(files.count(testing::FileOperation::replace), 0u) << "starting writes nothing";
  std::size_t writes = 0;
  const auto expectOneMore = [&] { EXPECT_EQ(files.count(testing::FileOperation::replace), ++writes); };
  manager->setDataTrackingOptedOut(true);
  expectOneMore();
  manager->setDataTrackingOptedOut(true);
  expectOneMore();
  manager->setDataRedirectionRegion(TWDataRegion{7});
  expectOneMore();
  merge("{}");
  expectOneMore();
}

TEST_F(ConfigManager, WhatIsSetThroughTheRecordIsSeenByTheNextQuestion) {
  const auto config = manager->tdwConfig();
  config->setAccountStatus("blocked");
  EXPECT_FALSE(manager->isUserInAppEnabled());
  config->setAccountStatus(5);
  EXPECT_FALSE(manager->isLogentriesEnabled()) << "goes on with YES, and meets its own status";
  EXPECT_TRUE(manager->isUserPushEnabled());
  config->setBlackListedEventsArray(base::Array{"x"});
  EXPECT_TRUE(manager->isEventBlackListed("x"));

  const auto other = std::make_shared<TWConfig>();
  other->setAccountStatus("blocked");
  manager->setTdwConfig(other);
  EXPECT_FALSE(manager->isAccountActive());
  config->setAccountStatus("allowed");
  EXPECT_FALSE(manager->isAccountActive()) << "the record that was replaced counts no more";

  manager->setTdwConfig(nullptr);
  EXPECT_TRUE(manager->isInAppServiceActive());
  EXPECT_FALSE(manager->isDeviceTriggerEnabled());
  EXPECT_TRUE(manager->getBlackListedEvents().isNil());
  EXPECT_EQ(manager->getSourceExtraKeys(), Value(base::Array()));
  EXPECT_EQ(manager->getPeriodicSyncDuration(), 60);
  EXPECT_EQ(manager->getEventBatchCount(), 0);
  EXPECT_EQ(manager->tdwConfig(), nullptr);
  merge("{}");
  EXPECT_EQ(manager->getEventBatchCount(), 30);
}

TEST_F(ConfigManager, PrintsTheStatusToTheLastBlank) {
  merge(R"({"b_e":["add to cart"],"f_e":["a"],"d_t_w_e":["b"],"src_ext":["c"],"p_f_t":-1,"le_tkn":"t"})");
  manager->setUserInAppNotificationOptedOut(true);
  manager->tdwConfig()->setAccountStatus({});
  manager->tdwConfig()->setDataRedirectionRegion({});
  TWLogger::debug(TWLogLevelDebug);
  manager->printCurrentServicesStatus();
  const Lines printed = lines();
  ASSERT_EQ(printed.size(), 11u);
  EXPECT_EQ(printed[0],
            "Tidewell - Account Status: (null) || InApp Status: allowed || Geofence Status: allowed || Inbox "
            "Status: "
            "allowed || Device Trigger Status: allowed || Data Redirection: Default || Periodic Sync Status: "
            "allowed");
  EXPECT_EQ(printed[1], "Tidewell - Black Listed Events : (\n    \"add to cart\"\n)");
  EXPECT_EQ(printed[2], "Tidewell - Instant Flush Events : (\n    a\n)");
  EXPECT_EQ(printed[3], "Tidewell - White listed Events : (\n    b\n)");
  EXPECT_EQ(printed[4], "Tidewell - Source Extra Keys : (\n    c\n)");
  EXPECT_EQ(printed[5], "Tidewell - === Opt Out Status ===\n");
  EXPECT_EQ(printed[6], "Tidewell - Data : \xE2\x9C\x85");
  EXPECT_EQ(printed[7], "Tidewell - Push : \xE2\x9C\x85");
  EXPECT_EQ(printed[8], "Tidewell - InApp: \xF0\x9F\x9B\x91");
  EXPECT_EQ(printed[9], "Tidewell - Logentries Status: blocked || Token: t");
  EXPECT_EQ(printed[10],
            "Tidewell - Config Int Params :\n============\nEvents Batch Count : 30 || Inbox Default Expiry "
            "Duration : "
            "2592000 || Periodic Sync Interval : 18446744073709551615 || Device Trigger Sync Duration : "
            "10800 || User "
            "Attr Caching Duration : 1800 || Session Inactive Duration : 1800\n============\n");
  EXPECT_EQ(manager->getPeriodicSyncDuration(), -1);
}

TEST_F(ConfigManager, AConsoleThatAsksTheConfigurationDoesNotHangTheStart) {
  // The sink of a host may call the SDK from any line, that of a broken archive included.
  platform->testFiles().setContents(*manager->getFilePathForConfig(), "broken");
  TWLogger::debug(TWLogLevelDebug);
  static int asked = 0;
  platform::setReporter(
      [](std::string_view) { asked += TWConfigManager::sharedInstance().isAccountActive(); });
  EXPECT_TRUE(TWConfigManager::sharedInstance().isAccountActive());
  EXPECT_EQ(asked, 1);
}

// Restricted unique IDs

TEST_F(ConfigManager, RestrictsIdentifiersThatAnExpressionMatchesWhole) {
  EXPECT_FALSE(manager->isUniqueIDRestricted("")) << "no expressions";
  EXPECT_TRUE(manager->isUniqueIDRestricted(std::nullopt));
  merge(R"({"b_uid_r":["b","guest-\\d+","(","later"]})");
  EXPECT_TRUE(manager->isUniqueIDRestricted("guest-12"));
  std::string reason;
  EXPECT_EQ(manager->restrictionOfUniqueID("guest-12", &reason), TWConfigManager::Restriction::restricted);
  EXPECT_EQ(manager->restrictionOfUniqueID("later", &reason),
            TWConfigManager::Restriction::invalidExpression);
  EXPECT_EQ(reason,
            "Can't do regex matching, reason: Can't open pattern U_REGEX_MISMATCHED_PAREN (string later, "
            "pattern (, "
            "case 0, canon 0)");
  EXPECT_THROW(static_cast<void>(manager->isUniqueIDRestricted("abc")), base::Exception);
  merge(R"({"b_uid_r":["b"]})");
  EXPECT_EQ(manager->restrictionOfUniqueID("abc"), TWConfigManager::Restriction::unrestricted)
      << "a part is not enough";
}

TEST_F(ConfigManager, AnExpressionThatTakesTooLongCountsAsNoMatchAndIsReported) {
  merge(R"({"b_uid_r":["(a+)+b","(a+)+c","(.*)*x.*y","z"]})");
  TWLogger::debug(TWLogLevelDebug);
  EXPECT_FALSE(manager->isUniqueIDRestricted(std::string(60, 'a')));
  EXPECT_EQ(lines().size(), 1u);
  EXPECT_FALSE(manager->isUniqueIDRestricted("y"));
  EXPECT_TRUE(lines().empty());
}

TEST_F(ConfigManager, ExpressionsBeyondTheBoundAreAskedAllTheSame) {
  base::Array expressions;
  for (int index = 0; index < 1200; ++index) expressions.addObject("id-" + std::to_string(index));
  manager->updateConfigFromResponse(base::Dictionary{{"b_uid_r", expressions}});
  EXPECT_EQ(platform->testGlobalQueue().pending(), 1u) << "compiled ahead, and not on the caller's thread";
  EXPECT_TRUE(manager->isUniqueIDRestricted("id-1199"));
  runUntilIdle();
  EXPECT_TRUE(manager->isUniqueIDRestricted("id-1199"));
  EXPECT_FALSE(manager->isUniqueIDRestricted("id-1200"));
}

// Hostile replies

TEST_F(ConfigManager, AMillionEventsAreFound) {
  platform->testFiles().setLibraryPath(std::nullopt);  // the archive of so many is not what is tested
  base::Array names;
  for (int index = 0; index < 1000000; ++index) names.addObject("event_" + std::to_string(index));
  names.addObject(17);
  names.addObject("behind");
  manager->updateConfigFromResponse(base::Dictionary{{"f_e", names}});
  EXPECT_TRUE(manager->isEventInstantFlushEvent("event_999999"));
  TWLogger::debug(TWLogLevelDebug);
  EXPECT_FALSE(manager->isEventInstantFlushEvent("behind"));
  EXPECT_EQ(coordinatesOf(lines()), Lines{"423 isEventInstantFlushEvent:"});
}

TEST_F(ConfigManager, ADeepReplyIsKeptOrRefusedWhole) {
  for (const int depth : {100, 500, 509, 510, 511}) {
    SCOPED_TRACE(depth);
    const auto before = file();
    merge("{\"src_ext\":" + std::string(static_cast<std::size_t>(depth), '[') +
          std::string(static_cast<std::size_t>(depth), ']') + "}");
    const Value kept = manager->getSourceExtraKeys();
    const bool written = file() != before;
    relaunch();
    if (written) {
      EXPECT_EQ(manager->getSourceExtraKeys(), kept) << "what is written can be read";
    }
  }
}

}  // namespace
}  // namespace tidewell

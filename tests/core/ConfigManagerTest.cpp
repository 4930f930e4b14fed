#include "ConfigModel.h"
#include "core/CoreFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

using base::Value;

class ConfigManager : public CoreFixture {
 protected:
  std::unique_ptr<TWConfigManager> manager = std::make_unique<TWConfigManager>();
  void relaunch() { manager = std::make_unique<TWConfigManager>(); }
  void merge(std::string_view json) { manager->updateConfigFromResponse(base::JSONObjectWithData(json)); }
  std::optional<std::string> file() {
    return platform->testFiles().contents(*manager->getFilePathForConfig());
  }
};

TEST_F(ConfigManager, AMergeStopsAtTheFirstBadValueAndLeavesTheFile) {
  merge(R"({"le_tkn":"kept"})");
  const auto before = file();
  TWLogger::debug(TWLogLevelDebug);
  lines();
  merge(R"({"i_s":"blocked","p_f_t":[1],"e_b_c":7})");
  EXPECT_EQ(lines(), Lines{"Tidewell - <file - TWConfigManager, line number - 118 , method - "
                           "'updateConfigFromResponse:'> exception is -[__NSArrayI integerValue]: "
                           "unrecognized selector sent to instance"});
  EXPECT_EQ(file(), before);
}

TEST_F(ConfigManager, WhatIsSetThroughTheRecordIsSeenByTheNextQuestion) {
  const auto config = manager->tdwConfig();
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
  EXPECT_EQ(
      lines(),
      (Lines{"Tidewell - Account Status: (null) || InApp Status: allowed || Geofence Status: allowed || "
             "Inbox Status: allowed || Device Trigger Status: allowed || Data Redirection: Default || "
             "Periodic Sync Status: allowed",
             "Tidewell - Black Listed Events : (\n    \"add to cart\"\n)",
             "Tidewell - Instant Flush Events : (\n    a\n)", "Tidewell - White listed Events : (\n    b\n)",
             "Tidewell - Source Extra Keys : (\n    c\n)", "Tidewell - === Opt Out Status ===\n",
             "Tidewell - Data : \xE2\x9C\x85", "Tidewell - Push : \xE2\x9C\x85",
             "Tidewell - InApp: \xF0\x9F\x9B\x91", "Tidewell - Logentries Status: blocked || Token: t",
             "Tidewell - Config Int Params :\n============\nEvents Batch Count : 30 || Inbox Default Expiry "
             "Duration : 2592000 || Periodic Sync Interval : 18446744073709551615 || Device Trigger Sync "
             "Duration : 10800 || User Attr Caching Duration : 1800 || Session Inactive Duration : "
             "1800\n============\n"}));
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
  EXPECT_TRUE(manager->isUniqueIDRestricted(std::nullopt));
  merge(R"({"b_uid_r":["b","guest-\\d+","(","later"]})");
  EXPECT_TRUE(manager->isUniqueIDRestricted("guest-12"));
  std::string reason;
  EXPECT_EQ(manager->restrictionOfUniqueID("guest-12", &reason), TWConfigManager::Restriction::restricted);
  EXPECT_EQ(manager->restrictionOfUniqueID("later", &reason),
            TWConfigManager::Restriction::invalidExpression);
  EXPECT_EQ(reason,
            "Can't do regex matching, reason: Can't open pattern U_REGEX_MISMATCHED_PAREN (string later, "
            "pattern (, case 0, canon 0)");
  EXPECT_THROW(static_cast<void>(manager->isUniqueIDRestricted("abc")), base::Exception);
  merge(R"({"b_uid_r":["b"]})");
  EXPECT_FALSE(manager->isUniqueIDRestricted("abc")) << "a part is not enough";
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
  base::Array names;
  for (int index = 0; index < 1000000; ++index) names.addObject("event_" + std::to_string(index));
  names.addObject(17);
  names.addObject("behind");
  manager->tdwConfig()->setInstantFlushEventsArray(names);
  EXPECT_TRUE(manager->isEventInstantFlushEvent("event_999999"));
  TWLogger::debug(TWLogLevelDebug);
  EXPECT_FALSE(manager->isEventInstantFlushEvent("behind"));
  EXPECT_EQ(coordinatesOf(lines()), Lines{"423 isEventInstantFlushEvent:"});
}

TEST_F(ConfigManager, ADeepReplyIsKeptOrRefusedWhole) {
  for (const std::size_t depth : {100u, 509u, 510u, 511u}) {
    const auto before = file();
    merge("{\"src_ext\":" + std::string(depth, '[') + std::string(depth, ']') + "}");
    const Value kept = manager->getSourceExtraKeys();
    relaunch();
    EXPECT_TRUE(file() == before || manager->getSourceExtraKeys() == kept)
        << depth << ": what is written can be read";
  }
}

}  // namespace
}  // namespace tidewell

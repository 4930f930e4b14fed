#include "ConfigModel.h"
#include "core/CoreFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
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

// The answer to one question after another: YES, NO, or that it raises.
TEST_F(ConfigManager, RestrictedIDsAreAnsweredInTheOrderOfTheList) {
  std::string manyNamed, manySets;
  for (int i = 0; i < 1300; ++i) manyNamed += "\\N{OX}";
  for (int i = 0; i < 64; ++i) manySets += "[\\p{L}]";
  base::Array users, attack;
  for (int i = 0; i < 10000; ++i) users.addObject("user" + std::to_string(i));
  for (int i = 0; i < 200; ++i) users.addObject("guest" + std::to_string(i) + "-[0-9]");
  for (int i = 0; i < 32; ++i) attack.addObject(manyNamed);
  for (int i = 0; i < 570; ++i) attack.addObject("(?i)" + manySets);
  attack.addObject("a.*");
  std::string words;
  while (words.size() < 60000) words += "word" + std::to_string(words.size()) + "|";
  const std::string hopeless(40, 'a');
  const struct {
    base::Value list;
    std::string id;
    const char* answer;
    std::size_t lines = 0;
  } rows[] = {
      {users, "user9999", "YES"},
      {users, "user10000", "NO"},
      {users, "guest199-7", "YES"},
      {base::Array{"(a+)+b", "a*"}, hopeless, "YES", 1},
      {base::Array{"(a+)+b", "(.*)*x.*y", "b"}, hopeless, "NO", 1},
      {attack, "abc", "YES", 1},
      {attack, "bc", "NO", 1},
      {base::Array{"a", "b", "(", "c", "d.*"}, "b", "YES"},
      {base::Array{"a", "b", "(", "c", "d.*"}, "c", "raises"},
      {base::Array{"a", "b", "(", "c", "d.*"}, "d", "raises"},
      {base::Array{"a.*", "(", "b"}, "ab", "YES"},
      {base::Array{"a", 3, "b", "("}, "a", "YES"},
      {base::Array{"a", 3, "b", "("}, "b", "raises"},
      {base::Array{"", "a"}, "a", "raises"},
      {base::Array{"^(root|admin)$", "first\\.last"}, "admin", "YES"},
      {base::Array{"^(root|admin)$", "first\\.last"}, "first.last", "YES"},
      {base::Array{"^(root|admin)$", "first\\.last"}, "firstxlast", "NO"},
      {base::Array{"\xEF\xBF\xBD"}, "\xFF", "YES"},
      {base::Array{words + "last"}, "last", "YES"},
      {base::Array{"(?:" + words + "last)[0-9]"}, "last7", "YES"},
      {base::Array{words + "[a"}, "other", "raises"},
  };
  TWLogger::debug(TWLogLevelDebug);
  for (const auto& row : rows) {
    for (const bool compiledAhead : {false, true}) {
      SCOPED_TRACE((row.list.array()->begin()->description().substr(0, 40) + " " + row.id).c_str());
      manager->updateConfigFromResponse(base::Dictionary{{"b_uid_r", base::Array()}});
      manager->updateConfigFromResponse(base::Dictionary{{"b_uid_r", row.list}});
      if (compiledAhead) runUntilIdle();
      (void)lines();
      using Restriction = TWConfigManager::Restriction;
      for (int asked = 0; asked < 2; ++asked) {
        const Restriction answer = manager->restrictionOfUniqueID(row.id);
        EXPECT_STREQ(answer == Restriction::restricted     ? "YES"
                     : answer == Restriction::unrestricted ? "NO"
                                                           : "raises",
                     row.answer);
        EXPECT_EQ(lines().size(), asked == 0 ? row.lines : 0u) << "each expression is reported once";
      }
    }
  }
}

TEST_F(ConfigManager, ExpressionsThatCostTooMuchAreNamedByNumber) {
  merge(R"({"b_uid_r":["z","(a+)+b","\\p{RGI_Emoji}","x[0-9]","(a+)+c"]})");
  EXPECT_EQ(platform->testGlobalQueue().pending(), 1u) << "compiled ahead, and not on the caller's thread";
  TWLogger::debug(TWLogLevelDebug);
  EXPECT_FALSE(manager->isUniqueIDRestricted("x"));
  EXPECT_FALSE(manager->isUniqueIDRestricted(std::string(60, 'a')));
  const auto said = lines();
  ASSERT_EQ(said.size(), 2u);
  EXPECT_NE(said[0].find("number 2 of the list"), std::string::npos) << said[0];
  EXPECT_NE(said[1].find("number 1, 4 of the list"), std::string::npos) << said[1];
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

#include "tidewell/core/TidewellCore.h"

#include <stdexcept>

#include "core/CoreFixture.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"

namespace tidewell {
namespace {

using testing::ScriptedNetwork;

class CoreTest : public CoreFixture {
 protected:
  TidewellCore& core = TidewellCore::sharedInstance();

  std::vector<ScriptedNetwork::Sent> sent() { return platform->testNetwork().sent(); }
  base::Value stamp() { return platform->testDefaults().synchronized().objectForKey(kConfigLastUpdatedKey); }
  static void post(std::string_view name) {
    platform::NotificationCenter::defaultCenter().postNotificationName(name);
  }
};

TEST_F(CoreTest, NotificationsDriveTheSync) {
  answerEverythingWith(200, "{}");
  core.initializeWithAppID("ABC123");
  runUntilIdle();
  const struct {
    std::function<void()> trigger;
    std::size_t requests;
  } steps[] = {
      {[&] { platform->enterForeground(); }, 1},
      {[] { post(kNotificationNameUpdateModules); }, 1},
      {[] { post(kNotificationNameUserReset); }, 1},
      {[] { post(kNotificationNameUpdateModules); }, 2},
      {[&] { platform->testClock().advance(3600), platform->enterForeground(); }, 3},
      // Initialised twice, observed twice; both ask before the first reply has arrived.
      {[&] { core.initializeWithAppID("ABC123"), platform->testClock().advance(3600); }, 3},
      {[] { post(kNotificationNameUpdateModules); }, 5},
  };
  for (const auto& [trigger, requests] : steps) {
    trigger();
    runUntilIdle();
    EXPECT_EQ(sent().size(), requests);
  }
}

TEST_F(CoreTest, RepliesAreStampedAndFailuresAreNot) {
  (void)TWConfigManager::sharedInstance();  // says a line of its own when it is made
  core.debug(1);
  TWCoreUtils::saveAppId("ABC123");
  const struct {
    platform::UrlTaskResult result;
    bool stamped;
    Lines last;  ///< of the lines, those at the end that do not come from the merge
  } cases[] = {
      {ScriptedNetwork::reply(500), false, {}},
      {ScriptedNetwork::failure(-1009, "offline"), false, {}},
      {ScriptedNetwork::reply(200, ""),
       true,
       {"Tidewell - SDK Config Synced", "Tidewell - Config Response : {\n}"}},
      {ScriptedNetwork::reply(200, "nonsense"), true, {"Tidewell - SDK Config Synced"}},
      {ScriptedNetwork::reply(200, "[]"), true, {"Tidewell - SDK Config Synced"}},
      {ScriptedNetwork::reply(200, R"({"i_s":"blocked"})"),
       true,
       {"Tidewell - SDK Config Synced", "Tidewell - Config Response : {\n    \"i_s\" = blocked;\n}"}},
  };
  for (const auto& each : cases) {
    core.userReset();
    lines();
    core.updateConfig();
    EXPECT_EQ(lines().front(), "Tidewell - Config request initiated:");
    platform->testNetwork().answer(each.result);
    runUntilIdle();
    EXPECT_EQ(!stamp().isNil(), each.stamped);
    const Lines logged = lines();
    for (std::size_t i = 0; i < each.last.size(); ++i) EXPECT_EQ(logged.at(i), each.last[i]);
  }
  EXPECT_FALSE(TWConfigManager::sharedInstance().isInAppServiceActive());
  core.updateConfig();
  EXPECT_EQ(lines(), Lines()) << "not due: nothing is said";
}

TEST_F(CoreTest, WithoutAppIDAFirstStartEndsWithALine) {
  core.debug(1);
  core.initializeWithAppID(std::nullopt);
  core.initializeWithAppID("");
  post(kNotificationNameUpdateModules);
  EXPECT_EQ(lines(), Lines(2, "Tidewell - Please check the initialize call. You have missed the APP ID"));
  EXPECT_EQ(TWCoreUtils::getTidewellAppId(), Text());
  EXPECT_EQ(sent().size(), 0u);
}

TEST_F(CoreTest, AnotherAppIDIsStoredAnnouncedAndEndsTheStart) {
  TWCoreUtils::saveAppId("ABC123");
  core.debug(1);
  int announced = 0;
  platform::NotificationCenter::defaultCenter().addObserver(
      kNotificationNameUserResetOnAppIDChange, [&](const platform::Notification& notification) {
        ++announced;
        EXPECT_EQ(TWCoreUtils::getTidewellAppId(), Text(announced == 1 ? "XYZ" : ""));
        EXPECT_TRUE(notification.object.isNil() && notification.userInfo.isNil());
      });
  core.initializeWithAppID("XYZ");
  post(kNotificationNameUpdateModules);
  EXPECT_EQ(announced, 1);
  EXPECT_EQ(lines(), Lines());
  EXPECT_EQ(sent().size(), 0u);
  core.initializeWithAppID("");  // replaces a stored one, too
  EXPECT_EQ(announced, 2);
  core.initializeWithAppID("");
  EXPECT_EQ(sent().size(), 1u);
}

TEST_F(CoreTest, AnExceptionDuringTheStartIsLoggedAndGoesNoFurther) {
  TWCoreUtils::saveAppId("ABC123");
  core.debug(1);
  platform::NotificationCenter::defaultCenter().addObserver(
      kNotificationNameUserResetOnAppIDChange,
      [](const platform::Notification&) { throw std::runtime_error("observer"); });
  core.initializeWithAppID("XYZ");
  EXPECT_EQ(lines(),
            Lines{"Tidewell - <file - TidewellCore, line number - 68 , method - 'initializeWithAppID:'> "
                  "exception in initializing TidewellCore is observer"});
}

TEST_F(CoreTest, RequestsFollowARegionThatChanges) {
  TWCoreUtils::saveAppId("ABC123");
  const std::pair<TWDataRegion, std::string_view> regions[] = {{TWDataRegionEurope, HOST_TDW_PROD_EU},
                                                               {TWDataRegionServ3, HOST_TDW_PROD_SERV3},
                                                               {TWDataRegion(9), HOST_TDW_PROD_US}};
  for (const auto& [region, host] : regions) {
    core.redirectDataToRegion(region);
    core.updateConfig();
    EXPECT_EQ(sent().back().request.URL()->host(), Text(host));
  }
}

TEST_F(CoreTest, WithoutAStoredAppIDASyncTravelsWithEmptyParameters) {
  core.updateConfig();
  ASSERT_EQ(sent().size(), 1u);
  EXPECT_TRUE(sent()[0].request.URL()->absoluteString().ends_with("/v3/sdkconfig/ios/"));
  EXPECT_EQ(sent()[0].request.HTTPBody(), Text(R"({"query_params":""})"));
}

TEST_F(CoreTest, TheAppGroupIsKeptWhileTheAccountIsActive) {
  const auto group = [&] { return platform->testDefaults().synchronized().objectForKey("Tdw_App_Group_ID"); };
  core.setAppGroupID(std::nullopt);
  core.setAppGroupID("");
  EXPECT_TRUE(group().isNil());
  core.setAppGroupID("group.shop");
  EXPECT_EQ(group(), base::Value("group.shop"));
  TWConfigManager::sharedInstance().updateConfigFromResponse(base::Dictionary{{"a_s", "blocked"}});
  core.setAppGroupID("group.other");
  EXPECT_EQ(group(), base::Value("group.shop"));
}

TEST_F(CoreTest, AnImageIsFetchedOnTheSharedSession) {
  const base::Url url = *base::Url::URLWithString("https://images.example/a.png");
  const struct {
    platform::UrlTaskResult result;
    bool success;
    Text bytes;
  } cases[] = {
      {ScriptedNetwork::reply(200, "PNG"), true, "PNG"},
      {ScriptedNetwork::reply(404, "gone"), false, "gone"},
      {ScriptedNetwork::failure(-1001, "timeout"), false, {}},
  };
  for (const auto& each : cases) {
    int completions = 0;
    core.downloadImageForURL(url, [&](bool success, std::optional<base::Data> data) {
      ++completions;
      EXPECT_TRUE(platform->testSessionQueue().isCurrent());
      EXPECT_EQ(success, each.success);
      EXPECT_EQ(data ? Text(data->view()) : Text(), each.bytes);
    });
    EXPECT_NE(sent().back().session, "tidewell");
    platform->testNetwork().answer(each.result);
    runUntilIdle();
    EXPECT_EQ(completions, 1);
  }
  bool called = false;
  core.downloadImageForURL(std::nullopt,
                           [&](bool success, std::optional<base::Data> data) { called = !success && !data; });
  EXPECT_TRUE(called) << "at once, on the caller's thread";
  core.downloadImageForURL(std::nullopt, {});
  core.downloadImageForURL(url, {});
  platform->testNetwork().answer(ScriptedNetwork::reply(200));
  runUntilIdle();
}

}  // namespace
}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TidewellCore.h"

#include <stdexcept>

#include "core/CoreFixture.h"

namespace tidewell {
namespace {

class CoreTest : public CoreFixture {
 protected:
  static void post(std::string_view name) {
    platform::NotificationCenter::defaultCenter().postNotificationName(name);
  }
  /// Calls the function when the application ID changes.
  static void onAppIDChange(std::function<void(const platform::Notification&)> callback) {
    platform::NotificationCenter::defaultCenter().addObserver("TW_USER_RESET_ON_APP_ID_CHANGE_NOTIFICATION",
                                                              std::move(callback));
  }

  TidewellCore& core = TidewellCore::sharedInstance();
};

// tests/life covers when a sync is due, its log lines and its replies.
TEST_F(CoreTest, NotificationsSyncAndReset) {
  (void)TWConfigManager::sharedInstance();  // logs a line when created
  core.debug(1);
  answerEverythingWith(200, R"({"i_s":"no"})");
  TWCoreUtils::saveAppId("ABC123");
  core.addObserverForApplicationLifeCycle();
  post("TW_USER_UPDATE_MODULES_NOTIFICATION");
  lines();
  runUntilIdle();
  EXPECT_EQ(lines().at(1), "Tidewell - Config Response : {\n    \"i_s\" = no;\n}");
  EXPECT_TRUE(stored("CONFIG_LAST_UPDATED").date());
  post("TW_USER_RESET_NOTIFICATION");
  EXPECT_TRUE(stored("CONFIG_LAST_UPDATED").isNil());
}

TEST_F(CoreTest, AFirstStartWithoutAppIDIsLoggedAndEnds) {
  core.debug(1);
  core.initializeWithAppID(std::nullopt);
  core.initializeWithAppID("");
  post(kNotificationNameUpdateModules);
  EXPECT_EQ(lines(), Lines(2, "Tidewell - Please check the initialize call. You have missed the APP ID"));
  EXPECT_EQ(TWCoreUtils::getTidewellAppId(), Text());
  EXPECT_EQ(sent().size(), 0u);
  core.updateConfig();
  ASSERT_EQ(sent().size(), 1u);
  EXPECT_TRUE(sent()[0].request.URL()->absoluteString().ends_with("/v3/sdkconfig/ios/"));
  EXPECT_EQ(sent()[0].request.HTTPBody(), Text(R"({"query_params":""})"));
}

TEST_F(CoreTest, AChangedAppIDIsStoredAnnouncedAndEndsTheStart) {
  TWCoreUtils::saveAppId("ABC123");
  core.debug(1);
  Lines announced;
  onAppIDChange([&](const platform::Notification& notification) {
    announced.push_back(*TWCoreUtils::getTidewellAppId());
    EXPECT_TRUE(notification.object.isNil() && notification.userInfo.isNil());
  });
  core.initializeWithAppID("XYZ");
  post(kNotificationNameUpdateModules);
  EXPECT_EQ(lines(), Lines());
  EXPECT_EQ(sent().size(), 0u);
  core.initializeWithAppID("");
  EXPECT_EQ(announced, (Lines{"XYZ", ""}));
  core.initializeWithAppID("");
  EXPECT_EQ(sent().size(), 1u);
}

TEST_F(CoreTest, ExceptionsOfObserversAndOfThePlatformAreLogged) {
  const auto raise = [](const auto&...) { throw std::runtime_error("no disk"); };
  TWCoreUtils::saveAppId("ABC123");
  core.debug(1);
  onAppIDChange(raise);
  core.initializeWithAppID("XYZ");
  EXPECT_EQ(lines(), Lines{caughtLine("TidewellCore", 68, "initializeWithAppID:",
                                      "exception in initializing TidewellCore is no disk")});
  core.addObserverForApplicationLifeCycle();
  files().setHook(raise);
  EXPECT_NO_THROW(platform->enterForeground());
  core.updateConfig();
  EXPECT_EQ(lines(),
            (Lines{"Tidewell - the handler of UIApplicationWillEnterForegroundNotification raised: no disk",
                   caughtLine("TidewellCore", 122, "updateConfig", "exception while config Sync no disk")}));
}

TEST_F(CoreTest, TheAppGroupIsStoredWhileTheAccountIsActive) {
  core.setAppGroupID("group.shop");
  core.setAppGroupID(std::nullopt);
  core.setAppGroupID("");
  TWConfigManager::sharedInstance().updateConfigFromResponse(base::Dictionary{{"a_s", "blocked"}});
  core.setAppGroupID("group.other");
  EXPECT_EQ(stored("Tdw_App_Group_ID"), base::Value("group.shop"));
}

TEST_F(CoreTest, ImagesAreFetchedOnTheSharedSession) {
  using testing::ScriptedNetwork;
  const auto url = base::Url::URLWithString("https://images.example/a.png");
  Lines calls;
  const auto note = [&](bool success, const std::optional<base::Data>& data) {
    calls.push_back((success ? "yes " : "no ") + (data ? std::string(data->view()) : "-"));
  };
  for (const auto& result : {ScriptedNetwork::reply(200, "png"), ScriptedNetwork::reply(404, "none"),
                             ScriptedNetwork::failure(-1001, "timed out")}) {
    core.downloadImageForURL(url, note);
    core.downloadImageForURL(url, {});
    EXPECT_NE(sent().back().session, "tidewell");
    while (platform->testNetwork().answer(result)) runUntilIdle();
  }
  core.downloadImageForURL(std::nullopt, {});
  core.downloadImageForURL(std::nullopt, note);
  EXPECT_EQ(calls, (Lines{"yes png", "no none", "no -", "no -"})) << "completes immediately without a URL";
}

}  // namespace
}  // namespace tidewell

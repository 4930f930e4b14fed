#include "tidewell/core/TidewellCore.h"

#include <stdexcept>

#include "core/CoreFixture.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"

namespace tidewell {
namespace {

using testing::ScriptedNetwork;

class CoreTest : public CoreFixture {
 protected:
  TidewellCore& core = TidewellCore::sharedInstance();

  std::vector<ScriptedNetwork::Sent> sent() { return platform->testNetwork().sent(); }
  static void post(std::string_view name) {
    platform::NotificationCenter::defaultCenter().postNotificationName(name);
  }
};

// When a sync is due, and which replies count, is tested where a real backend answers.
TEST_F(CoreTest, ASyncIsToldInLinesAndOneThatIsNotDueIsNot) {
  (void)TWConfigManager::sharedInstance();  // says a line of its own when it is made
  core.debug(1);
  answerEverythingWith(200, R"({"i_s":"no"})");
  TWCoreUtils::saveAppId("ABC123");
  core.updateConfig();
  EXPECT_EQ(lines().front(), "Tidewell - Config request initiated:");
  runUntilIdle();
  const Lines logged = lines();
  EXPECT_EQ(logged.at(0), "Tidewell - SDK Config Synced");
  EXPECT_EQ(logged.at(1), "Tidewell - Config Response : {\n    \"i_s\" = no;\n}");
  core.updateConfig();
  EXPECT_EQ(lines(), Lines());
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

/// A host's own machine, of which the user defaults raise.
class RaisingMachine final : public platform::Platform {
 public:
  explicit RaisingMachine(std::shared_ptr<Platform> machine) : rest(std::move(machine)) {}
  platform::UserDefaults& standardUserDefaults() override { throw std::runtime_error("no defaults"); }
  std::shared_ptr<platform::UserDefaults> userDefaultsWithSuiteName(std::string_view) override { return {}; }
  platform::FileManager& fileManager() override { return rest->fileManager(); }
  platform::Keychain& keychain() override { return rest->keychain(); }
  platform::Device& device() override { return rest->device(); }
  platform::Bundles& bundles() override { return rest->bundles(); }
  platform::Clock& clock() override { return rest->clock(); }
  platform::Console& console() override { return rest->console(); }
  platform::Queue& mainQueue() override { return rest->mainQueue(); }
  platform::Queue& globalQueue() override { return rest->globalQueue(); }
  platform::UrlSession& sharedUrlSession() override { return rest->sharedUrlSession(); }
  std::shared_ptr<platform::UrlSession> makeUrlSession(platform::UrlSessionConfiguration set) override {
    return rest->makeUrlSession(std::move(set));
  }
  const std::shared_ptr<Platform> rest;
};

TEST_F(CoreTest, WhatThePlatformRaisesDoesNotReachWhoeverPosts) {
  core.addObserverForApplicationLifeCycle();
  core.debug(1);
  platform::Platform::replaceForTesting(std::make_shared<RaisingMachine>(platform));
  for (const std::string_view name : {kNotificationNameUserReset, kNotificationNameUpdateModules,
                                      platform::UIApplicationWillEnterForegroundNotification})
    EXPECT_NO_THROW(post(name));
  EXPECT_EQ(lines().front(), "Tidewell - the handler of TW_USER_RESET_NOTIFICATION raised: no defaults");
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

TEST_F(CoreTest, AnImageIsFetchedOnTheSharedSessionAndNoURLCompletesAtOnce) {
  core.downloadImageForURL(base::Url::URLWithString("https://images.example/a.png"), {});
  EXPECT_NE(sent().back().session, "tidewell");
  bool called = false;
  core.downloadImageForURL(std::nullopt,
                           [&](bool success, std::optional<base::Data> data) { called = !success && !data; });
  EXPECT_TRUE(called);
  core.downloadImageForURL(std::nullopt, {});
}

}  // namespace
}  // namespace tidewell

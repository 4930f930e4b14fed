#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"

#include "core/CoreFixture.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

class NetworkUtilsTest : public CoreFixture {
 protected:
  NetworkUtilsTest() {
    TWCoreUtils::saveAppId("ABC123");
    (void)TWConfigManager::sharedInstance();  // says a line of its own when it is made
  }
};

TEST_F(NetworkUtilsTest, TheSessionIsBoundedAndBelongsToThePlatformInForce) {
  auto& configuration = TWNetworkConfiguration::defaultConfiguration();
  const auto session = configuration.getTWURLSession();
  EXPECT_EQ(session, configuration.getTWURLSession());
  const auto& asked = session->configuration();
  EXPECT_EQ(asked.name, "tidewell");
  EXPECT_EQ(asked.timeoutIntervalForRequest, 10.0);
  EXPECT_EQ(asked.timeoutIntervalForResource, 60.0);
  EXPECT_EQ(asked.requestCachePolicy, platform::UrlRequestCachePolicy::reloadIgnoringLocalCacheData);
  EXPECT_TRUE(asked.httpsOnly);
  EXPECT_EQ(asked.headersBoundToHost, (Lines{"TDW-APPKEY"}));
  restart();
  EXPECT_NE(session, configuration.getTWURLSession());
}

TEST_F(NetworkUtilsTest, TheLastWrapperWins) {
  const std::pair<std::string_view, const char*> wrappers[] = {
      {"TIDEWELL_FLUTTER_SDK_VERSION", "flutter"}, {"TIDEWELL_XAMARIN_SDK_VERSION", "xamarin"},
      {"TIDEWELL_SEGMENT_SDK_VERSION", "segment"}, {"TIDEWELL_REACT_NATIVE_SDK_VERSION", "react_native"},
      {"TIDEWELL_CORDOVA_SDK_VERSION", "cordova"},
  };
  EXPECT_TRUE(TWNetworkUtils::getIntegrationParams().empty());
  for (const auto& wrapper : wrappers) platform->testDefaults().setObject(wrapper.second, wrapper.first);
  for (const auto& [key, type] : wrappers) {
    EXPECT_EQ(TWNetworkUtils::getIntegrationParams(),
              (base::Dictionary{{"integration_version", type}, {"integration_type", type}}));
    platform->testDefaults().removeObjectForKey(key);
  }
}

TEST_F(NetworkUtilsTest, FactsThatAreMissingAreEmptyOrEndInALine) {
  platform->testDevice().identifierForVendorValue = std::nullopt;
  EXPECT_EQ(TWNetworkUtils::getRequestParamsForV2().objectForKey("unique_id"), base::Value(""));
  TWCoreUtils::saveAppId("");
  TWCoreUtils::saveDeviceToken("");
  EXPECT_EQ(TWNetworkUtils::getRequestParamsForV1APIs().objectForKey("appId"), base::Value(""));
  EXPECT_FALSE(TWNetworkUtils::getRequestParamsForV2().find("push_id"));
  TWCoreUtils::saveAppId("ABC123");
  TWLogger::debug(1);
  const auto expectFailure = [&](Lines expected) {
    expected.push_back(
        "Tidewell - <file - TWNetworkUtils, line number - 165 , method - "
        "'getRequestParamsWithV1:'> Exception while getting Param for API : ");
    EXPECT_FALSE(TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceInbox));
    const Lines logged = lines();
    ASSERT_EQ(logged.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
      EXPECT_TRUE(logged[i].starts_with(expected[i])) << logged[i];
  };
  platform->testDevice().modelValue = std::nullopt;
  expectFailure({});
  platform->testDevice().modelValue = "iPhone";
  platform->testBundles().setMainInfoDictionary({});
  expectFailure({});
  TWCoreUtils::saveAppId(std::nullopt);
  expectFailure({"Tidewell - App ID is missing in the initialize call"});
}

}  // namespace
}  // namespace tidewell

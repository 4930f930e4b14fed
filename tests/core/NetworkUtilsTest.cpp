#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"

#include "core/CoreFixture.h"
#include "tidewell/base/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

const std::string kUniqueId = "6F9619FF-8B86-D011-B42D-00C04FC964FF-1542042309";

std::string json(const std::optional<base::Dictionary>& dictionary) {
  return dictionary ? base::dataWithJSONObject(*dictionary) : "nil";
}

class NetworkUtilsTest : public CoreFixture {
 protected:
  NetworkUtilsTest() {
    TWCoreUtils::saveAppId("ABC123");
    (void)TWConfigManager::sharedInstance();  // says a line of its own when it is made
  }
};

TEST_F(NetworkUtilsTest, AHostMayBeChangedAndAPortLeftOut) {
  auto& configuration = TWNetworkConfiguration::defaultConfiguration();
  configuration.updateDefaultHost("other.example");
  configuration.updateDefaultHost(std::nullopt);
  configuration.updateDefaultPort(0);
  EXPECT_EQ(configuration.host(), "other.example");
  EXPECT_EQ(configuration.port(), std::nullopt);
  EXPECT_EQ(configuration.hostForService(TWServiceInbox), HOST_TDW_PROD_US) << "a service goes by its region";
  EXPECT_EQ(configuration.portForService(TWServiceInbox), std::optional<std::int64_t>(443));
}

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

TEST_F(NetworkUtilsTest, ParametersComeInTheirOrder) {
  platform->testClock().setSystemTimeZone(*base::TimeZone::timeZoneWithName("Asia/Kolkata"));
  TWCoreUtils::saveDeviceToken("token");
  const std::string v2 =
      R"({"os":"iOS","app_ver":"1.2.3","app_id":"ABC123","sdk_ver":")" +
      std::string(TidewellCoreVersionString) + R"(","unique_id":")" + kUniqueId +
      R"(","push_id":"token","device_unique_id":"P-)" + kUniqueId +
      R"(","device_tz_offset":"19800000","device_ts":"1542042309","device_tz":"Asia\/Kolkata",)"
      R"("model":"iPhone","model_name":"iPhone X","os_ver":"12.1")";
  const std::string v1 = R"(,"os_value":"iOS","appId":"ABC123","pushToken":"token")";
  for (int number = -1; number < 15; ++number) {
    const bool isGeofence = number == TWServiceGeofenceHit || number == TWServiceGetGeofences;
    EXPECT_EQ(json(TWNetworkConfiguration::getQueryParamsBodyDictForService(TWService(number))),
              v2 + (isGeofence ? v1 : "") + "}");
  }
}

TEST_F(NetworkUtilsTest, ParametersFollowOptOutsAndUnknownFacts) {
  auto& manager = TWConfigManager::sharedInstance();
  const auto keys = [] {
    std::string joined;
    for (const auto& entry : TWNetworkUtils::getRequestParamsForV2()) joined += entry.key + ' ';
    return joined;
  };
  const std::string head = "os app_ver app_id sdk_ver unique_id ";
  const std::string time = "device_unique_id device_tz_offset device_ts device_tz ";
  EXPECT_EQ(keys(), head + time + "model model_name os_ver ");
  TWCoreUtils::saveDeviceToken("");
  EXPECT_EQ(keys(), head + time + "model model_name os_ver ");
  TWCoreUtils::saveDeviceToken("token");
  manager.setUserPushNotificationOptedOut(true);
  EXPECT_FALSE(TWNetworkUtils::getRequestParamsForV1APIs().find("pushToken"));
  EXPECT_EQ(keys(), head + time + "model model_name os_ver ");
  manager.setDataTrackingOptedOut(true);
  EXPECT_EQ(keys(), head + time);
  platform->testDevice().identifierForVendorValue = std::nullopt;
  platform->testDefaults().removeObjectForKey(kUserDefaultsKeySDKUniqueId);
  EXPECT_EQ(TWNetworkUtils::getRequestParamsForV2().objectForKey("unique_id"), base::Value(""));
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

TEST_F(NetworkUtilsTest, ParametersThatCannotBeBuiltAreLoggedAndNil) {
  TWLogger::debug(1);
  const auto expectFailure = [&](Lines expected) {
    EXPECT_EQ(json(TWNetworkUtils::getQueryParamsBodyDictForService(TWServiceInbox)), "nil");
    const Lines logged = lines();
    ASSERT_EQ(logged.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
      EXPECT_TRUE(logged[i].starts_with(expected[i])) << logged[i];
  };
  const std::string failure =
      "Tidewell - <file - TWNetworkUtils, line number - 165 , method - 'getRequestParamsWithV1:'> "
      "Exception while getting Param for API : ";
  platform->testDevice().modelValue = std::nullopt;
  expectFailure({failure});
  platform->testDevice().modelValue = "iPhone";
  platform->testBundles().setMainInfoDictionary({});
  expectFailure({failure});
  TWCoreUtils::saveAppId("");
  EXPECT_EQ(TWNetworkUtils::getRequestParamsForV1APIs().objectForKey("appId"), base::Value(""));
  TWCoreUtils::saveAppId(std::nullopt);
  expectFailure({"Tidewell - App ID is missing in the initialize call", failure});
}

}  // namespace
}  // namespace tidewell

#include <fstream>
#include <set>

#include "core/CoreFixture.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

using Names = std::set<std::string>;

// How the page's sections on parameters begin, and what follows them.
const char* const kParameters = "The body of the configuration request";
const char* const kGeofenceParameters = "The two geofence";
const char* const kAfterParameters = "The vendor identifier";

/// What docs/privacy.md says: the names in backticks at the front of its tables' rows.
class PrivacyPage : public CoreFixture {
 protected:
  PrivacyPage() {
    TWCoreUtils::saveAppId("A");
    TWCoreUtils::saveDeviceToken("token");
    platform->standardUserDefaults().setObject("4.2", Tidewell_Flutter_SDK_Version);
    TWConfigManager::sharedInstance().updateConfigFromResponse(
        base::Dictionary{{"a_s", "allowed"}, {"le_s", "allowed"}, {"le_tkn", "t"}});
  }

  /// Of the rows between two texts of the page, those that hold a third.
  static Names promised(const std::string& from, const std::string& to, const std::string& with = "|") {
    std::ifstream page(TIDEWELL_TEST_DATA "/../../docs/privacy.md");
    Names names;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
      if (line.starts_with(from)) inside = true;
      if (line.starts_with(to)) inside = false;
      if (!inside || !line.starts_with("| `") || line.find(with) == std::string::npos) continue;
      const std::string cell = line.substr(0, line.find('|', 1));
      for (std::size_t begin = cell.find('`'); begin != std::string::npos;) {
        const auto end = cell.find('`', begin + 1);
        names.insert(cell.substr(begin + 1, end - begin - 1));
        begin = cell.find('`', end + 1);
      }
    }
    EXPECT_FALSE(names.empty()) << from;
    return names;
  }
  static Names sent(TWService service) {
    return keys(TWNetworkUtils::getQueryParamsBodyDictForService(service).value());
  }
  static Names keys(const base::Dictionary& dictionary) {
    const auto all = dictionary.allKeys();
    return {all.begin(), all.end()};
  }
  static Names without(Names all, const Names& some) {
    for (const auto& each : some) all.erase(each);
    return all;
  }
};

TEST_F(PrivacyPage, NamesEveryParameterOfEveryService) {
  const Names common = promised(kParameters, kGeofenceParameters);
  const Names geofence = promised(kParameters, kAfterParameters);
  for (std::int32_t number = TWServiceGetConfig; number <= TWServiceSendLogs; ++number) {
    const TWService service{number};
    const bool isGeofence = service == TWServiceGeofenceHit || service == TWServiceGetGeofences;
    EXPECT_EQ(sent(service), isGeofence ? geofence : common) << number;
  }
}

TEST_F(PrivacyPage, SaysWhatAnOptOutStops) {
  const Names all = sent(TWServiceGetGeofences);
  const Names ofPush = promised(kParameters, kAfterParameters, "setUserPushNotificationOptedOut");
  const Names ofTracking = promised(kParameters, kAfterParameters, "setDataTrackingOptedOut");
  TWConfigManager& config = TWConfigManager::sharedInstance();
  config.setUserPushNotificationOptedOut(true);
  EXPECT_EQ(sent(TWServiceGetGeofences), without(all, ofPush));
  config.setUserPushNotificationOptedOut(false);
  config.setDataTrackingOptedOut(true);
  EXPECT_EQ(sent(TWServiceGetGeofences), without(all, ofTracking));
  config.setDataTrackingOptedOut(false);
  config.tdwConfig()->setAccountStatus("blocked");
  EXPECT_EQ(sent(TWServiceGetGeofences), without(without(all, ofPush), ofTracking)) << "a blocked account";
}

TEST_F(PrivacyPage, NamesEveryHeaderAndEverythingInAShippedLine) {
  TWLogger::sendLogToLogEntries("message", "trace", "DEBUG");
  const auto requests = platform->testNetwork().sent();
  ASSERT_EQ(requests.size(), 1u);
  Names headers;
  for (const auto& [name, value] : requests[0].request.allHTTPHeaderFields()) headers.emplace(name);
  EXPECT_EQ(headers, promised("## Headers", "## A shipped line"));
  const base::Value body = base::JSONObjectWithData(*requests[0].request.HTTPBody());
  EXPECT_EQ(keys(*body.dictionary()), promised("## A shipped line", "## How to stop it"));
}

}  // namespace
}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <regex>
#include <set>

#include "core/CoreFixture.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"

namespace tidewell {
namespace {

using Names = std::set<std::string>;

/// The names in backticks in the first cell of the table rows between two texts of docs/privacy.md; only of
/// rows that contain `with`.
Names documented(const std::string& from, const std::string& to, const std::string& with = "|") {
  std::ifstream page(TIDEWELL_TEST_DATA "/../../docs/privacy.md");
  static const std::regex name("`([^`]*)`");
  Names names;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    inside = (inside || line.starts_with(from)) && !line.starts_with(to);
    if (!inside || !line.starts_with("| `") || line.find(with) == std::string::npos) continue;
    const std::string cell = line.substr(0, line.find('|', 1));
    for (std::sregex_iterator match(cell.begin(), cell.end(), name), end; match != end; ++match)
      names.insert((*match)[1]);
  }
  EXPECT_FALSE(names.empty()) << from;
  return names;
}
Names namesOf(const base::Value& dictionary) {
  const Lines all = dictionary.dictionary()->allKeys();
  return {all.begin(), all.end()};
}
Names sentBy(TWService service) { return namesOf(TWNetworkUtils::getQueryParamsBodyDictForService(service)); }
Names without(Names all, const Names& some) {
  for (const std::string& each : some) all.erase(each);
  return all;
}

class PrivacyPageTest : public CoreFixture {};

TEST_F(PrivacyPageTest, ListsAllDataThatIsSent) {
  TWCoreUtils::saveAppId("A");
  TWCoreUtils::saveDeviceToken("token");
  platform->standardUserDefaults().setObject("4.2", Tidewell_Flutter_SDK_Version);
  TWConfigManager& config = TWConfigManager::sharedInstance();
  config.updateConfigFromResponse(base::Dictionary{{"a_s", "allowed"}, {"le_s", "allowed"}, {"le_tkn", "t"}});
  const char* const begin = "The body of the configuration request";
  const char* const end = "The vendor identifier";
  const Names all = documented(begin, end);
  for (std::int32_t service = TWServiceGetConfig; service <= TWServiceSendLogs; ++service) {
    const bool isGeofence = service == TWServiceGeofenceHit || service == TWServiceGetGeofences;
    EXPECT_EQ(sentBy(TWService{service}), isGeofence ? all : documented(begin, "The two geofence"))
        << service;
  }

  const Names ofPush = documented(begin, end, "setUserPushNotificationOptedOut");
  const Names ofTracking = documented(begin, end, "setDataTrackingOptedOut");
  config.setUserPushNotificationOptedOut(true);
  EXPECT_EQ(sentBy(TWServiceGetGeofences), without(all, ofPush));
  config.setDataTrackingOptedOut(true);
  config.setUserPushNotificationOptedOut(false);
  EXPECT_EQ(sentBy(TWServiceGetGeofences), without(all, ofTracking));
  config.setDataTrackingOptedOut(false);
  config.tdwConfig()->setAccountStatus("blocked");
  EXPECT_EQ(sentBy(TWServiceGetGeofences), without(without(all, ofPush), ofTracking));

  TWLogger::sendLogToLogEntries("message", "trace", "DEBUG");
  ASSERT_EQ(sent().size(), 1u);
  const platform::UrlRequest request = sent()[0].request;
  Names headers;
  for (const auto& [name, value] : request.allHTTPHeaderFields()) headers.emplace(name);
  EXPECT_EQ(headers, documented("## Headers", "## A shipped line"));
  EXPECT_EQ(namesOf(base::JSONObjectWithData(*request.HTTPBody())),
            documented("## A shipped line", "## How to stop it"));
}

}  // namespace
}  // namespace tidewell

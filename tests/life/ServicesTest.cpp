// SPDX-License-Identifier: Apache-2.0
#include "life/LifeTest.h"
#include "tidewell/base/KeyPath.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/PropertyList.h"

namespace tidewell::life {
namespace {

/// The arguments of the command `call`, starting with the service number, and the request line.
const std::pair<std::string, std::string> kServices[] = {
    {"0 A", "POST /v3/sdkconfig/ios/A"},
    {"1", "POST /v2/sdk/device/"},
    {"2 x y", "POST /v2/sdk/report/x%20y"},
    {"3", "POST /v3/campaigns/inapp/live"},
    {"4 c/1", "POST /v3/campaigns/inapp/live/c/1"},
    {"5 c", "GET /v3/campaigns/inapp/test/c"},
    {"6", "POST /v3/campaigns/inapp/live/stats"},
    {"7", "POST /v1/getInboxMessages"},
    {"8", "POST /v2/categories/add"},
    {"9", "POST /v1/sdk-trigger/sync"},
    {"10", "POST /v1/sdk-trigger/user-in-segment"},
    {"11", "POST /v1/geoFenceHit"},
    {"12", "POST /v1/geoFences"},
    {"13 tok", "POST /noformat/logs/tok"},
};
constexpr const char* kRegionHosts[] = {"api-serv3.tidewell.example", "api-eu.tidewell.example",
                                        "api.tidewell.example"};

TEST_F(LifeTest, EveryServiceIsCalledAsTheBackendExpects) {
  Child app = host();
  app.ask("group group.example");
  ASSERT_EQ(sync(app, "start A"), "synced");
  for (int service = 0; service < 14; ++service) {
    const auto& [call, line] = kServices[service];
    SCOPED_TRACE(line);
    app.ask("region " + std::to_string(service % 3));
    backend.clearRequests();
    EXPECT_EQ(app.ask("call " + call).substr(0, 4), "yes ");
    const testing::StandInRequest request = backend.requests().at(0);
    EXPECT_EQ(::testing::PrintToString(request.problems), "{}");
    EXPECT_EQ(request.service, service);
    EXPECT_EQ(request.method + " " + request.path, line);
    EXPECT_EQ(request.query, call.find(' ') != call.npos ? "q=1%20%26%C3%A9" : "");
    EXPECT_EQ(request.host, service == 13 ? "logs.tidewell.example" : kRegionHosts[service % 3]);
    EXPECT_EQ(request.header("TDW-APPKEY"), "A");
  }
  EXPECT_EQ(app.ask("completed"), "14");
  EXPECT_EQ(app.ask("call 14") + app.ask("call -1"), "no nilno nil");
  EXPECT_EQ(backend.requestCount(), 1u);

  // The values read by the application's extensions.
  const base::Value group =
      base::propertyListWithData(bytesOf(data + "/group.example/Library/Preferences/group.example.plist"));
  for (const auto& [keyPath, value] :
       {std::pair<const char*, base::Value>{"tdw_reports_host", kRegionHosts[2]},
        {"tdw_reports_scheme", "https"},
        {"tdw_reports_path", "/v2/sdk/report/x y"},
        {"tdw_reports_port", 443},
        {"tdw_params.app_id", "A"},
        {"tdw_params.device_tz", "Asia/Kolkata"},
        {"tdw_params.os_value", {}}}) {
    EXPECT_EQ(base::valueForKeyPath(group, keyPath), value) << keyPath;
  }
}

}  // namespace
}  // namespace tidewell::life

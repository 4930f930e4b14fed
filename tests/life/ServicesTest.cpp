#include <map>

#include "life/LifeTest.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/PropertyList.h"

namespace tidewell::life {
namespace {

struct Service {
  const char* call;  ///< the number and what is appended to the path
  const char* method;
  const char* path;
};

constexpr Service kServices[] = {
    {"0 A", "POST", "/v3/sdkconfig/ios/A"},
    {"1", "POST", "/v2/sdk/device/"},
    {"2 x y", "POST", "/v2/sdk/report/x%20y"},
    {"3", "POST", "/v3/campaigns/inapp/live"},
    {"4 c/1", "POST", "/v3/campaigns/inapp/live/c/1"},
    {"5 c", "GET", "/v3/campaigns/inapp/test/c"},
    {"6", "POST", "/v3/campaigns/inapp/live/stats"},
    {"7", "POST", "/v1/getInboxMessages"},
    {"8", "POST", "/v2/categories/add"},
    {"9", "POST", "/v1/sdk-trigger/sync"},
    {"10", "POST", "/v1/sdk-trigger/user-in-segment"},
    {"11", "POST", "/v1/geoFenceHit"},
    {"12", "POST", "/v1/geoFences"},
    {"13 tok", "POST", "/noformat/logs/tok"},
};
constexpr const char* kRegionHosts[] = {"api-serv3.tidewell.example", "api-eu.tidewell.example",
                                        "api.tidewell.example"};

TEST_F(LifeTest, EveryServiceIsCalledAsTheBackendExpects) {
  App app(backend, environment());
  ASSERT_EQ(app.ask("start A"), "synced");
  for (int service = 0; service < 14; ++service) {
    const Service& expected = kServices[service];
    SCOPED_TRACE(expected.path);
    app.ask("region " + std::to_string(service % 3));
    backend.clearRequests();
    EXPECT_EQ(app.ask(std::string("call ") + expected.call).substr(0, 4), "yes ");
    const auto requests = backend.requests();
    ASSERT_EQ(requests.size(), 1u);
    const testing::StandInRequest& request = requests[0];
    const bool isPost = std::string_view(expected.method) == "POST";
    EXPECT_EQ(::testing::PrintToString(request.problems), "{}");
    EXPECT_EQ(request.service, service);
    EXPECT_EQ(request.method, expected.method);
    EXPECT_EQ(request.path, expected.path);
    EXPECT_EQ(request.query,
              std::string_view(expected.call).find(' ') != std::string_view::npos ? "q=1%20%26%C3%A9" : "");
    EXPECT_EQ(request.host, service == 13 ? "logs.tidewell.example" : kRegionHosts[service % 3]);
    EXPECT_EQ(request.header("TDW-APPKEY"), "A");
    EXPECT_EQ(request.header("X-Module"), "life");
    EXPECT_EQ(request.header("content-type"),
              isPost ? std::optional<std::string>("application/json") : std::nullopt);
  }
  EXPECT_EQ(app.ask("count completed"), "14");
  EXPECT_EQ(app.ask("call 14"), "no nil");
  EXPECT_EQ(app.ask("call -1"), "no nil");
  EXPECT_EQ(backend.requestCount(), 1u);
}

TEST_F(LifeTest, AnExtensionReadsParametersAndEndpointFromTheGroup) {
  {
    App app(backend, environment());
    app.ask("group group.example");
    app.ask("start A");
    app.ask("region 1");
    app.ask("call 2 r");
    app.ask("call 11");
  }
  const base::Value group =
      base::propertyListWithData(bytesOf(data + "/group.example/Library/Preferences/group.example.plist"));
  for (const auto& [keyPath, value] : std::map<std::string, base::Value>{
           {"tdw_reports_host", "api-eu.tidewell.example"},
           {"tdw_reports_scheme", "https"},
           {"tdw_reports_path", "/v2/sdk/report/r"},
           {"tdw_reports_port", 443},
           {"tdw_params.app_id", "A"},
           {"tdw_params.device_tz", "Asia/Kolkata"},
           {"tdw_params.os_value", {}},
       }) {
    EXPECT_EQ(base::valueForKeyPath(group, keyPath), value) << keyPath;
  }
}

TEST_F(LifeTest, TheDeviceKeepsItsIdentityWhenTheApplicationIsRemoved) {
  std::string first;
  {
    App app(backend, environment());
    app.ask("token push-token");
    first = app.ask("identity");
  }
  const std::string sdk = first.substr(0, first.find(' '));
  ASSERT_GT(sdk.size(), 40u) << first;
  EXPECT_EQ(first, sdk + " P-" + sdk + " 1 push-token 1");
  EXPECT_EQ(App(backend, environment()).ask("identity"), first);

  std::filesystem::remove_all(container);
  const std::string again = App(backend, environment()).ask("identity");
  EXPECT_EQ(again.substr(again.find(' ')), " P-" + sdk + " 1 nil 0");
}

}  // namespace
}  // namespace tidewell::life

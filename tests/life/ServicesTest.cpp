#include <map>

#include "life/LifeTest.h"
#include "tidewell/base/Json.h"
#include "tidewell/base/PropertyList.h"

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

constexpr std::string_view kV2Keys =
    "os app_ver app_id sdk_ver unique_id push_id device_unique_id device_tz_offset device_ts device_tz "
    "integration_version integration_type model model_name os_ver";

std::string joinedKeys(const base::Dictionary& dictionary) {
  std::string all;
  for (const std::string& key : dictionary.allKeys()) all += (all.empty() ? "" : " ") + key;
  return all;
}

base::Dictionary parametersOf(const testing::StandInRequest& request) {
  const base::Value body = base::JSONObjectWithData(request.body);
  const base::Value parameters = base::valueForKeyPath(body, "query_params");
  return parameters.dictionary() ? *parameters.dictionary() : base::Dictionary();
}

TEST_F(LifeTest, EveryServiceIsCalledAsTheBackendExpects) {
  App app(backend, environment());
  ASSERT_EQ(app.ask("start A"), "synced");
  app.ask("token push-token");
  app.ask("flutter 1.2");
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
    if (!isPost || service == 13) continue;
    const base::Dictionary parameters = parametersOf(request);
    const bool isGeofence = service == 11 || service == 12;
    EXPECT_EQ(joinedKeys(parameters), std::string(kV2Keys) + (isGeofence ? " os_value appId pushToken" : ""));
    for (const auto& [key, value] : {std::pair{"os", "iOS"},
                                     {"app_ver", "3.1"},
                                     {"app_id", "A"},
                                     {"push_id", "push-token"},
                                     {"device_tz_offset", "19800000"},
                                     {"device_tz", "Asia/Kolkata"},
                                     {"integration_version", "1.2"},
                                     {"integration_type", "flutter"}}) {
      EXPECT_EQ(parameters.objectForKey(key), base::Value(value)) << key;
    }
    EXPECT_EQ(parameters.objectForKey("pushToken"), isGeofence ? base::Value("push-token") : base::Value());
  }
  EXPECT_EQ(app.ask("count completed"), "14");

  app.ask("opt-out-push");
  backend.clearRequests();
  app.ask("call 11");
  const std::string keys = joinedKeys(parametersOf(backend.requests().at(0)));
  EXPECT_EQ(keys.find("push"), std::string::npos) << keys;
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

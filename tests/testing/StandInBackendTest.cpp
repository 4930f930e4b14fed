#include "tidewell/testing/StandInBackend.h"

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "tidewell/core/TWNetwork/TWNetworkConstants.h"

using namespace std::chrono_literals;
using namespace tidewell::testing;

namespace {

/// What a client of the backend got to see.
struct Seen {
  CURLcode code = CURLE_OK;
  long status = 0;
  long verifyResult = 0;
  std::string body;  ///< decoded
};

/// Asks the backend with bare libcurl, which shares nothing with the code under test. One connection at a
/// time, kept between requests.
class StandInClient {
 public:
  explicit StandInClient(const tidewell::testing::StandInBackend& backend)
      : ca(backend.caFile()),
        route_("::127.0.0.1:" + std::to_string(backend.port())),
        curl_(curl_easy_init(), &curl_easy_cleanup) {}

  std::string ca;      ///< what it trusts
  std::string method;  ///< "" for what the body makes it
  std::vector<std::string> headers{"TDW-APPKEY: APP", "content-type: application/json"};
  std::string host{tidewell::HOST_TDW_PROD_US};
  long timeoutMilliseconds = 20'000;

  Seen post(const std::string& path, const std::string& body) { return send(path, &body); }
  Seen get(const std::string& path) { return send(path, nullptr); }

 private:
  using Slist = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  Seen send(const std::string& path, const std::string* body) {
    CURL* curl = curl_.get();
    curl_easy_reset(curl);
    Seen seen;
    const Slist route(curl_slist_append(nullptr, route_.c_str()), &curl_slist_free_all);
    Slist list(nullptr, &curl_slist_free_all);
    for (const auto& header : headers) {
      list.reset(curl_slist_append(list.release(), header.c_str()));
    }
    curl_easy_setopt(curl, CURLOPT_URL, ("https://" + host + ":443" + path).c_str());
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECT_TO, route.get());
    curl_easy_setopt(curl, CURLOPT_CAINFO, ca.c_str());
    curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list.get());
    curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(curl, CURLOPT_POSTREDIR, CURL_REDIR_POST_ALL);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, timeoutMilliseconds);
    if (body != nullptr) {
      curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
      curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body->c_str());
    }
    if (!method.empty()) curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &seen.body);
    curl_easy_setopt(
        curl, CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t size, std::size_t count, void* out) {
          static_cast<std::string*>(out)->append(bytes, size * count);
          return size * count;
        });
    seen.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &seen.status);
    curl_easy_getinfo(curl, CURLINFO_SSL_VERIFYRESULT, &seen.verifyResult);
    return seen;
  }

  std::string route_;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_;
};

const std::string kConfigPath = "/v3/sdkconfig/ios/APP";
const std::string kConfigBody =
    R"({"query_params":{"os":"iOS","app_ver":"1","app_id":"APP","sdk_ver":"1","unique_id":"u",)"
    R"("device_tz_offset":"0","device_ts":"1","device_tz":"GMT"}})";
const std::string kLogBody =
    R"({"appid":"APP","uid":"u","lvl":"","tb":"","sdk_ver":"1","msg":"m","tm_s":"1"})";

StandInFault fault(const std::string& text) {
  std::string problem;
  const auto parsed = StandInFault::parse(text, problem);
  EXPECT_TRUE(parsed) << text << ": " << problem;
  return parsed.value_or(StandInFault());
}

std::size_t entriesOf(const char* folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

struct TemporaryFolder {
  TemporaryFolder() {
    std::string made = ::testing::TempDir() + "backend.XXXXXX";
    path = ::mkdtemp(made.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path); }
  std::filesystem::path path;
};

}  // namespace

// The faults that a session of the platform sees as one error; tests/posix meets the others.
TEST(StandInBackendTest, FaultsReachTheClientToTheLastByte) {
  const std::string usual = R"({"a_s":"blocked"})";
  const std::string padded = R"({"pad":")" + std::string(2'000'000 - 10, 'a') + R"("})";
  const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
  const struct {
    std::string fault;
    CURLcode code;
    long status = 0;
    std::string body = {};
    long verifyResult = -1;  // of the certificate, where one row tells; 1 where its chain is in order
  } rows[] = {{"kind=oversized:2000000", CURLE_OK, 200, padded},
              {"kind=oversized:2000000,framing=chunked", CURLE_OK, 200, padded},
              {"kind=oversized:2000000,framing=until-close", CURLE_OK, 200, padded},
              {"kind=gzip-bomb:2000000", CURLE_OK, 200, padded},
              {"kind=nesting:100000", CURLE_OK, 200, deep},
              {R"({"kind":"reply","status":201,"body":"a,b","headers":{"Content-Encoding":"gzip"}})",
               CURLE_BAD_CONTENT_ENCODING, 201},
              {R"({"kind":"reply","headers":{"content-length":"3"}})", CURLE_OK, 200, usual.substr(0, 3)},
              {"kind=wrong-authority", CURLE_PEER_FAILED_VERIFICATION, 0, "", 20},
              {"kind=wrong-host-name", CURLE_PEER_FAILED_VERIFICATION, 0, "", 1},
              {"kind=expired", CURLE_PEER_FAILED_VERIFICATION, 0, "", 10},
              {"kind=common-name-only", CURLE_OK, 200, usual, 0}};  // libcurl itself does not mind
  StandInBackend backend;
  backend.setConfiguration(usual);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    StandInClient client(backend);
    backend.setFault(fault(row.fault));
    const Seen seen = client.post(kConfigPath, kConfigBody);
    EXPECT_EQ(seen.code, row.code) << curl_easy_strerror(seen.code);
    EXPECT_EQ(seen.status, row.status);
    EXPECT_TRUE(seen.body == row.body) << seen.body.size();
    EXPECT_TRUE(row.verifyResult < 0 || seen.verifyResult == row.verifyResult) << seen.verifyResult;
  }
}

TEST(StandInBackendTest, FaultsApplyInOrderToTheirServiceAndPath) {
  StandInBackend backend;
  backend.addFault(fault("kind=status:501,times=2"));
  backend.addFault(fault("kind=status:502,service=13"));
  backend.addFault(fault("kind=status:503,path=/v1/geo,times=1"));
  StandInClient client(backend);
  for (const long status : {501, 501, 503, 200}) EXPECT_EQ(client.post("/v1/geoFences", "{}").status, status);
  client.host = tidewell::HOST_LOGENTRIES;
  EXPECT_EQ(client.post("/noformat/logs/token", kLogBody).status, 502);
  EXPECT_EQ(backend.faults().size(), 1u);
  EXPECT_EQ(backend.requests().back().fault, "status");
}

TEST(StandInBackendTest, InvalidFaultTextsSayWhy) {
  for (const auto* text :
       {"", "kind=bogus", "service=0", "kind=status", "kind=status:9", "kind=reset:1", "kind=surplus",
        "kind=oversized", "kind=reset,service=14", "kind=reset,colour=red", "kind=encoding:zip",
        "kind=expired,service=0", "kind=garbage,host=a", "kind=reset,times=-1", "kind=reset,,",
        "{\"kind\":", "{\"kind\":true}", "{\"kind\":\"reply\",\"headers\":[]}", "kind=reset,framing=none"}) {
    std::string problem;
    EXPECT_FALSE(StandInFault::parse(text, problem)) << text;
    EXPECT_FALSE(problem.empty()) << text;
  }
  const std::string json = R"({"kind":"reply","service":3,"path":"/v3","host":"h","times":2,"status":201,)"
                           R"("delay":5,"interval":7,"bytes":9,"location":"/l","encoding":"br",)"
                           R"("framing":"chunked","headers":{"A":"b"},"body":"x,y"})";
  EXPECT_EQ(fault(json).json(), json);
}

TEST(StandInBackendTest, ObjectsToWhatTheBackendWouldRefuse) {
  const std::string key = "TDW-APPKEY: APP", json = "content-type: application/json";
  using Headers = std::vector<std::string>;
  const auto logs = tidewell::HOST_LOGENTRIES;
  const struct {
    std::string problem;  // "" for none
    std::string path = kConfigPath;
    std::string body = kConfigBody;
    Headers headers = {"TDW-APPKEY: APP", "content-type: application/json"};
    std::string_view host = tidewell::HOST_TDW_PROD_EU;
    std::string method = "POST";
  } rows[] = {{""},
              {"", "/v1/getInboxMessages?a=1", ""},
              {"no service has the path \"/v9\"", "/v9"},
              {.problem = "does not offer", .host = logs},
              {.problem = "no host of the backend", .headers = {key, json, "Host: other.example"}},
              {.problem = "Host names the port \":8443\"",
               .headers = {key, json, "Host: api-eu.tidewell.example:8443"}},
              {.problem = "the method is PUT, not POST", .method = "PUT"},
              {"0 headers TDW-APPKEY", "/v1/geoFences", "", {json}},
              {.problem = "the content type is \"text/plain\"", .headers = {key, "content-type: text/plain"}},
              {"there is no content type", "/v1/geoFences", "{}", {key, "Content-Type:"}},
              {.problem = "a GET has a body", .path = "/v3/campaigns/inapp/test/ID", .method = "GET"},
              {.problem = "a GET has the content type",
               .path = "/v3/campaigns/inapp/test/ID",
               .body = "",
               .method = "GET"},
              {"there is no body", kConfigPath, ""},
              {"the body is not JSON", kConfigPath, "{\"query_params\":"},
              {"not a JSON object", "/v1/geoFences", "[]"},
              {"no object under \"query_params\"", kConfigPath, R"({"query_params":""})"},
              {"no text under \"os\"", kConfigPath, R"({"query_params":{"os":1}})"},
              {"the path asks for the application \"B C\"", "/v3/sdkconfig/ios/B%20C"},
              {"in this order", "/noformat/logs/t", R"({"uid":"u","appid":"APP"})", {key, json}, logs},
              {"without a token", "/noformat/logs/", kLogBody, {key, json}, logs},
              {.problem = "not HTTP/1.1", .headers = {"Transfer-Encoding: chunked"}},
              {.problem = "too large", .headers = {"X: " + std::string(70'000, 'x')}},
              {.problem = "not HTTP/1.1", .method = "TWO WORDS"}};
  StandInBackend backend;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.problem + " " + row.path);
    StandInClient client(backend);
    client.headers = row.headers;
    client.host = row.host;
    client.method = row.method;
    backend.clearRequests();
    row.method == "GET" && row.body.empty() ? client.get(row.path) : client.post(row.path, row.body);
    ASSERT_EQ(backend.requestCount(), 1u);
    std::string all;
    const auto requests = backend.requests();
    for (const auto& problem : requests.front().problems) all += problem + "\n";
    EXPECT_TRUE(row.problem.empty() ? all.empty() : all.find(row.problem) != std::string::npos) << all;
  }
}

TEST(StandInBackendTest, AnEditedConfigurationFileIsServedAtOnceAndABrokenOneReported) {
  const TemporaryFolder folder;
  const auto file = folder.path / "config.json";
  std::string messages;
  std::mutex mutex;
  StandInBackendOptions options;
  options.configurationFile = file;
  options.onMessage = [&](std::string_view message) {
    const std::lock_guard lock(mutex);
    messages.append(message);
  };
  StandInBackend backend(options);
  StandInClient client(backend);
  const std::pair<const char*, std::string> rows[] = {
      {nullptr, "500"}, {R"({"e_b_c":1})", R"({"e_b_c":1})"}, {"{\n\"e_b_c\":", "500"}, {"[2]", "[2]"}};
  for (const auto& [text, reply] : rows) {
    if (text != nullptr) std::ofstream(file, std::ios::trunc) << text;
    const Seen seen = client.post(kConfigPath, kConfigBody);
    EXPECT_EQ(seen.status == 200 ? seen.body : std::to_string(seen.status), reply);
  }
  backend.setConfiguration("{]");  // from code, a broken one is intended
  EXPECT_EQ(client.post(kConfigPath, kConfigBody).body, "{]");
  const std::lock_guard lock(mutex);
  EXPECT_LT(messages.find("cannot read"), messages.find("line 2")) << messages;
  EXPECT_NE(messages.find("line 2"), std::string::npos) << messages;
}

TEST(StandInBackendTest, ARequestIsOneLineOfJson) {
  StandInRequest request;
  request.time = 1.5;
  request.connection = 3;
  request.method = "POST";
  request.path = "/a";
  request.headers = {{"A", "\xE9"}, {"A", "\xC3\xA9"}};  // Latin-1, UTF-8
  request.service = 7;
  request.problems = {"p"};
  for (const auto& [body, printed] :
       {std::pair{"line\n\"two\"", R"("body":"line\n\"two\"")"}, {"\xFF\x01", R"("body_base64":"/wE=")"}}) {
    request.body = body;
    EXPECT_EQ(
        request.json(),
        R"({"time":1.5,"connection":3,"server_name":"","host":"","method":"POST","path":"/a","query":"",)"
        R"("service":7,"headers":[["A","é"],["A","é"]],)" +
            std::string(printed) + R"(,"problems":["p"],"fault":""})");
  }
}

TEST(StandInBackendTest, AConnectionIsKeptUntilAFaultForNewOnesIsSet) {
  StandInBackend backend;
  backend.setResource("/image.png", std::string("\x89PNG\0", 5), "image/png");
  StandInClient client(backend);
  client.post("/v1/geoFences", std::string(3u << 20, ' ') + "{}");  // large enough for "Expect: 100-continue"
  EXPECT_EQ(client.get("/image.png").body, std::string("\x89PNG\0", 5));
  client.post(kConfigPath, kConfigBody);
  EXPECT_EQ(backend.connectionCount(), 1u);
  backend.addFault(fault("kind=expired,host=api.tidewell.example,times=1"));
  EXPECT_EQ(client.post(kConfigPath, kConfigBody).code, CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(client.post(kConfigPath, kConfigBody).code, CURLE_OK);
  const auto requests = backend.requests();
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[0].body.size(), (3u << 20) + 2);
  EXPECT_EQ(requests[2].connection, 1u);
  EXPECT_EQ(requests[3].connection, 3u);
  EXPECT_TRUE(requests[1].problems.empty());
}

TEST(StandInBackendTest, ServesTwoHundredConnectionsAtOnceAndStopsWithThemOpen) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  {
    const StandInBackend first;
    StandInClient(first).get("/");  // what the libraries open once stays open
  }
  const auto descriptors = entriesOf("/proc/self/fd"), threads = entriesOf("/proc/self/task");
  constexpr std::size_t kClients = 200;
  std::atomic<std::size_t> cutOff{0};
  std::vector<std::thread> clients;
  {
    StandInBackend backend;
    backend.addFault(fault("kind=silence,service=12"));
    for (std::size_t i = 0; i < kClients; ++i) {
      clients.emplace_back([&backend, &cutOff] {
        StandInClient client(backend);
        client.timeoutMilliseconds = 100'000;
        if (client.post(kConfigPath, kConfigBody).status != 200) return;
        // Which error it is depends on how far the end has come when curl retries the kept connection.
        const auto code = client.post("/v1/geoFences", "{}").code;
        if (code != CURLE_OK && code != CURLE_OPERATION_TIMEDOUT) ++cutOff;
      });
    }
    EXPECT_TRUE(backend.waitForRequests(2 * kClients, 60s));
    EXPECT_EQ(backend.openConnectionCount(), kClients);
  }
  for (auto& client : clients) client.join();
  EXPECT_EQ(cutOff, kClients);
  EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
  EXPECT_EQ(entriesOf("/proc/self/task"), threads);
}

TEST(StandInBackendTest, TheAuthorityOfAnEarlierRunIsStillTrusted) {
  const TemporaryFolder folder;
  StandInBackendOptions options;
  options.directory = folder.path / "made" / "here";
  options.caFile = folder.path / "ca-copy.pem";
  { const StandInBackend earlier(options); }
  const std::string trusted = std::exchange(options.caFile, "");
  options.extraHosts = {"images.example"};  // which the earlier run's certificate does not name
  const StandInBackend backend(options);
  StandInClient client(backend);
  client.ca = trusted;
  client.host = "images.example";
  ASSERT_EQ(client.get("/a").status, 404);
  EXPECT_TRUE(backend.requests().back().problems.empty());
  for (const auto* key : {"ca.key", "server.key"}) {
    struct stat status {};
    ASSERT_EQ(::stat((std::filesystem::path(options.directory) / key).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
  }
}

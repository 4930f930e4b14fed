// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/StandInBackend.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>

#include "Fault.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"

using namespace std::chrono_literals;
using namespace tidewell::testing;

// Covers over plain HTTP what tests/posix cannot observe through a URL session over TLS.
namespace {

/// Sends bytes on a new connection and returns its descriptor.
int ask(const StandInBackend& backend, const std::string& bytes) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(backend.port());
  const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(write(connection, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  return connection;
}

/// All bytes received until the peer closes the connection.
std::string receive(int connection) {
  std::string all, buffer(1u << 16, '\0');
  for (ssize_t got = 0; (got = read(connection, buffer.data(), buffer.size())) > 0;)
    all.append(buffer, 0, static_cast<std::size_t>(got));
  close(connection);
  return all;
}

std::string requestWith(std::string head, const std::string& body = "") {
  return head.append("\r\nContent-Length: ").append(std::to_string(body.size()) + "\r\n\r\n" + body);
}
std::string get(const StandInBackend& backend, const std::string& path) {
  return receive(ask(backend, requestWith("GET " + path + " HTTP/1.0")));
}

TEST(StandInBackendTest, FaultsReachTheClientToTheLastByte) {
  StandInBackend backend;
  backend.setResource("/a", "usual", "text/plain");
  const std::string padded = R"({"pad":")" + std::string(2'000'000 - 10, 'a') + R"("})";
  const std::pair<std::string, std::string> rows[] = {
      {"kind=oversized:2000000", "\r\n\r\n" + padded},
      {"kind=oversized:2000000,framing=until-close", "\r\n\r\n" + padded},
      {"kind=nesting:100000", "\r\n\r\n" + std::string(100'000, '[') + std::string(100'000, ']')},
      {"kind=truncation:2,framing=chunked", "\r\n\r\n2\r\nus\r\n"},
      {R"({"kind":"reply","body":"a,b","headers":{"content-length":"9"}})", "content-length: 9\r\n\r\na,b"}};
  for (const auto& [text, end] : rows) {
    backend.setFault(fault(text));
    const std::string reply = get(backend, "/a");
    EXPECT_TRUE(reply.ends_with(end)) << text << reply.size() << reply.substr(0, 300);
  }
}

TEST(StandInBackendTest, FaultsApplyInOrderToTheirServiceAndPath) {
  StandInBackend backend;
  for (const char* each : {"status:501,times=2", "status:502,service=13", "status:503,path=/v1/geo,times=1"})
    backend.addFault(fault(std::string("kind=") + each));
  for (const auto& [path, status] : {std::pair("/v1/geoFences", "501"), std::pair("/v1/geoFences", "501"),
                                     std::pair("/v1/geoFences", "503"), std::pair("/v1/geoFences", "405"),
                                     std::pair("/noformat/logs/token", "502"), std::pair("/", "404")})
    EXPECT_EQ(get(backend, path).substr(9, 3), status) << path;
  EXPECT_EQ(backend.faults().size(), 1u);
  EXPECT_EQ(backend.requests().at(4).fault, "status");
}

TEST(StandInBackendTest, InvalidFaultTextsAreExplained) {
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

TEST(StandInBackendTest, ReportsRequestsThatTheRealBackendWouldReject) {
  StandInBackend backend;
  const std::string own = "Host: localhost:" + std::to_string(backend.port());
  const std::string key = "\r\nTDW-APPKEY: APP", json = "\r\nContent-Type: application/json";
  const std::string logs = "Host: " + std::string(tidewell::HOST_LOGENTRIES);
  const struct {
    std::string problem;
    std::string request = "POST /v3/sdkconfig/ios/APP";
    std::string headers = "";  ///< "": those of a valid request
    std::string body =
        R"({"query_params":{"os":"iOS","app_ver":"1","app_id":"APP","sdk_ver":"1","unique_id":"u",)"
        R"("device_tz_offset":"0","device_ts":"1","device_tz":"GMT"}})";
  } rows[] = {{""},
              {"", "POST /v1/getInboxMessages?a=1", "", ""},
              {"no service has the path \"/v9\"", "POST /v9"},
              {.problem = "does not offer", .headers = logs + key + json},
              {.problem = "no host of the backend", .headers = "Host: other.example" + key + json},
              {.problem = "Host names the port \":8443\"",
               .headers = "Host: api-eu.tidewell.example:8443" + key + json},
              {.problem = "TLS asked for the host \"\"", .headers = logs + key + json},
              {"the method is PUT, not POST", "PUT /v3/sdkconfig/ios/APP"},
              {"0 headers TDW-APPKEY", "POST /v1/geoFences", own + json, ""},
              {.problem = "the content type is \"text/plain\"",
               .headers = own + key + "\r\nContent-Type: text/plain"},
              {"there is no content type", "POST /v1/geoFences", own + key, "{}"},
              {"a GET has a body", "GET /v3/campaigns/inapp/test/ID"},
              {"a GET has the content type", "GET /v3/campaigns/inapp/test/ID", "", ""},
              {.problem = "there is no body", .body = ""},
              {.problem = "the body is not JSON", .body = "{\"query_params\":"},
              {"not a JSON object", "POST /v1/geoFences", "", "[]"},
              {.problem = "no object under \"query_params\"", .body = R"({"query_params":""})"},
              {.problem = "no text under \"os\"", .body = R"({"query_params":{"os":1}})"},
              {"the path asks for the application \"B C\"", "POST /v3/sdkconfig/ios/B%20C"},
              {"in this order", "POST /noformat/logs/t", "", R"({"uid":"u","appid":"APP"})"},
              {"without a token", "POST /noformat/logs/"},
              {.problem = "not HTTP/1.1", .headers = own + "\r\nTransfer-Encoding: chunked"},
              {.problem = "too large", .headers = "X: " + std::string(70'000, 'x')},
              {"not HTTP/1.1", "/"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.problem + " " + row.request);
    backend.clearRequests();
    const std::string headers = row.headers.empty() ? own + key + json : row.headers;
    receive(ask(backend, requestWith(row.request + " HTTP/1.0\r\n" + headers, row.body)));
    std::string all;
    const StandInRequest received = backend.requests().at(0);
    for (const auto& problem : received.problems) all += problem + "\n";
    EXPECT_TRUE(row.problem.empty() ? all.empty() : all.find(row.problem) != all.npos) << all;
  }
}

TEST(StandInBackendTest, RequestsAreLoggedAsOneLineOfJson) {
  StandInRequest request;
  request.time = 1.5;
  request.method = "POST";
  request.headers = {{"A", "\xE9"}, {"A", "\xC3\xA9"}};  // Latin-1, UTF-8
  request.service = 7;
  request.problems = {"p"};
  for (const auto& [body, printed] :
       {std::pair{"line\n\"two\"", R"("body":"line\n\"two\"")"}, {"\xFF\x01", R"("body_base64":"/wE=")"}}) {
    request.body = body;
    EXPECT_EQ(request.json(),
              R"({"time":1.5,"connection":0,"server_name":"","host":"","method":"POST","path":"","query":"",)"
              R"("service":7,"headers":[["A","é"],["A","é"]],)" +
                  std::string(printed) + R"(,"problems":["p"],"fault":""})");
  }
}

TEST(StandInBackendTest, Serves200ConnectionsAtOnceAndStopsWhileTheyAreOpen) {
  const auto count = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  const auto descriptors = count();
  std::vector<int> connections;
  {
    StandInBackend backend;
    backend.addFault(fault("kind=silence"));
    for (int i = 0; i < 200; ++i) {
      connections.push_back(
          ask(backend, "POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 1\r\n\r\n"));
      std::string interim(25, '\0');
      EXPECT_EQ(recv(connections.back(), interim.data(), interim.size(), MSG_WAITALL), 25);
      EXPECT_EQ(interim, "HTTP/1.1 100 Continue\r\n\r\n");
      EXPECT_EQ(write(connections.back(), "x", 1), 1);
    }
    EXPECT_TRUE(backend.waitForRequests(200, 60s));
    EXPECT_EQ(backend.openConnectionCount(), 200u);
  }
  for (const int each : connections) EXPECT_EQ(receive(each), "");
  EXPECT_EQ(count(), descriptors);
}

}  // namespace

#include "UrlSessionTesting.h"

#include <malloc.h>
#include <stdlib.h>

#include <map>
#include <ostream>

namespace tidewell::posix {
namespace {

using std::chrono::milliseconds;

struct FaultCase {
  const char* name;
  const char* fault;
  std::int64_t code;  ///< 0: the reply arrives
  bool hasResponse;   ///< whether there was an answer to tell of
};

/// Each fault of the backend, to a session that bears 300 ms of silence, 900 ms of life and 1 MB.
constexpr FaultCase kFaultCases[] = {
    {"Status500", "kind=status:500", 0, true},
    {"Status204", "kind=status:204", 0, true},
    {"ShortDelay", "kind=delay:50", 0, true},
    {"LongDelay", "kind=delay:3000", platform::kUrlErrorTimedOut, false},
    {"Silence", "kind=silence", platform::kUrlErrorTimedOut, false},
    {"Close", "kind=close", platform::kUrlErrorNetworkConnectionLost, false},
    {"Reset", "kind=reset", platform::kUrlErrorNetworkConnectionLost, false},
    {"Truncation", "kind=truncation:2", platform::kUrlErrorNetworkConnectionLost, true},
    {"TruncatedChunks", "kind=truncation:2,framing=chunked", platform::kUrlErrorNetworkConnectionLost, true},
    {"Drip", "kind=drip:20", platform::kUrlErrorTimedOut, false},
    {"RedirectLoop", "kind=redirect", platform::kUrlErrorHttpTooManyRedirects, true},
    {"RedirectToPlainHttp", "kind=redirect:http://shop.example/", platform::kUrlErrorUnsupportedUrl, true},
    {"Oversized", "kind=oversized:1073741824", platform::kUrlErrorDataLengthExceedsMaximum, true},
    {"OversizedChunks", "kind=oversized:1073741824,framing=chunked",
     platform::kUrlErrorDataLengthExceedsMaximum, true},
    {"OversizedUntilClose", "kind=oversized:1073741824,framing=until-close",
     platform::kUrlErrorDataLengthExceedsMaximum, true},
    {"GzipBomb", "kind=gzip-bomb:1073741824", platform::kUrlErrorDataLengthExceedsMaximum, true},
    {"UnknownEncoding", R"({"kind": "reply", "headers": {"Content-Encoding": "rot13"}, "body": "uryyb"})",
     platform::kUrlErrorCannotDecodeContentData, true},
    {"BrokenGzip", R"({"kind": "reply", "headers": {"Content-Encoding": "gzip"}, "body": "not gzip at all"})",
     platform::kUrlErrorCannotDecodeContentData, true},
    {"NotJson", "kind=not-json", 0, true},
    {"Empty", "kind=empty", 0, true},
    {"Nesting", "kind=nesting:100000", 0, true},
    {"WrongAuthority", "kind=wrong-authority", platform::kUrlErrorServerCertificateUntrusted, false},
    {"WrongHostName", "kind=wrong-host-name", platform::kUrlErrorServerCertificateUntrusted, false},
    {"Expired", "kind=expired", platform::kUrlErrorServerCertificateUntrusted, false},
    {"Garbage", "kind=garbage", platform::kUrlErrorSecureConnectionFailed, false},
    {"SilentHandshake", "kind=silent-handshake", platform::kUrlErrorTimedOut, false},
};

class UrlSessionFaultTest : public UrlSessionTest {
 protected:
  UrlSessionFaultTest() {
    configuration.timeoutIntervalForRequest = 0.3;
    configuration.timeoutIntervalForResource = 0.9;
    given.maximumBodyBytes = 1u << 20;
  }

  void expectOutcome(const FaultCase& row) {
    SCOPED_TRACE(row.name);
    backend.setFault(fault(row.fault));
    const auto begin = std::chrono::steady_clock::now();
    const platform::UrlTaskResult result = fetch();
    EXPECT_EQ(row.code, codeOf(result)) << (result.error ? result.error->description() : "");
    EXPECT_EQ(row.hasResponse, result.response.has_value());
    EXPECT_EQ(row.code == 0, result.data.has_value());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  }
};

class UrlSessionEachFaultTest : public UrlSessionFaultTest,
                                public ::testing::WithParamInterface<FaultCase> {};

TEST_P(UrlSessionEachFaultTest, EndsOnceInTimeAndTheNextRequestWorks) {
  expectOutcome(GetParam());
  backend.clearFaults();
  EXPECT_EQ("hello", bodyOf(fetch()));
}

INSTANTIATE_TEST_SUITE_P(Backend, UrlSessionEachFaultTest, ::testing::ValuesIn(kFaultCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(UrlSessionFaultTest, BytesThatArriveEndTheSilenceButNotTheLife) {
  configuration.timeoutIntervalForResource = 30;
  backend.setFault(
      fault("kind=drip:30"));  // the status line alone takes longer than the silence that is borne
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ("hello", bodyOf(fetch()));
  EXPECT_GT(std::chrono::steady_clock::now() - begin, milliseconds(300));
}

TEST_F(UrlSessionFaultTest, ABodyUpToTheBoundArrives) {
  given.maximumBodyBytes = 5;
  EXPECT_EQ("hello", bodyOf(fetch()));
}

TEST_F(UrlSessionFaultTest, ABodyOneByteBeyondTheBoundDoesNotArrive) {
  given.maximumBodyBytes = 4;
  EXPECT_EQ(platform::kUrlErrorDataLengthExceedsMaximum, codeOf(fetch()));
}

TEST_F(UrlSessionFaultTest, WithoutAServerTheErrorSaysWhy) {
  given.connectionOverrides = {{"shop.example", 443, "127.0.0.1", 1}};
  EXPECT_EQ(platform::kUrlErrorCannotConnectToHost, codeOf(fetch()));
  EXPECT_EQ(platform::kUrlErrorCannotFindHost, codeOf(fetch(request("https://no-such-host.invalid/"))));
  EXPECT_EQ(platform::kUrlErrorUnsupportedUrl, codeOf(fetch(request("http://shop.example/"))));
  EXPECT_EQ(platform::kUrlErrorUnsupportedUrl, codeOf(fetch(request("/relative"))));
  EXPECT_EQ(platform::kUrlErrorUnsupportedUrl, codeOf(fetch(platform::UrlRequest(std::nullopt))));
  platform::UrlRequest smuggling = request();
  smuggling.setHTTPMethod("GET / HTTP/1.1\r\nX: y\r\n\r\nGET");
  EXPECT_EQ(platform::kUrlErrorBadUrl, codeOf(fetch(smuggling)));
}

TEST_F(UrlSessionFaultTest, ACaFileThatCannotBeReadIsNamed) {
  given.caFile = "/nonexistent/authorities.pem";
  const platform::UrlTaskResult result = fetch();
  EXPECT_EQ(platform::kUrlErrorSecureConnectionFailed, codeOf(result));
  EXPECT_NE(std::string::npos, result.error->description().find("/nonexistent/authorities.pem"));
}

TEST_F(UrlSessionFaultTest, TheEnvironmentIsNotReadAgain) {
  given.proxy.clear();
  const auto session = makeSession();
  for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
    setenv(name, "http://127.0.0.1:1", 1);
  setenv("SSL_CERT_FILE", "/dev/null", 1);
  setenv("CURL_CA_BUNDLE", "/dev/null", 1);
  EXPECT_EQ("hello", bodyOf(send(*session, request()).get()));
}

TEST_F(UrlSessionFaultTest, HeadersWithoutEndAreNotCollected) {
  StandInFault reply = fault("kind=reply");
  reply.headers.assign(5000, {"X-Filler", std::string(100, 'x')});
  backend.setFault(reply);
  EXPECT_EQ(platform::kUrlErrorDataLengthExceedsMaximum, codeOf(fetch()));
}

}  // namespace
}  // namespace tidewell::posix

#include "UrlSessionTesting.h"

#include <iterator>

namespace tidewell::posix {
namespace {

using std::chrono::milliseconds;

struct FaultCase {
  const char* fault;
  std::int64_t code;  ///< 0: the reply arrives
  bool hasResponse;   ///< whether there was an answer to tell of
};

/// Each fault of the backend, to a session that takes 1 MB. Where a time-out is expected, the session allows
/// 300 ms of silence and 900 ms of life.
constexpr FaultCase kFaultCases[] = {
    {"kind=status:500", 0, true},
    {"kind=status:204", 0, true},
    {"kind=delay:50", 0, true},
    {"kind=delay:3000", platform::kUrlErrorTimedOut, false},
    {"kind=silence", platform::kUrlErrorTimedOut, false},
    {"kind=close", platform::kUrlErrorNetworkConnectionLost, false},
    {"kind=reset", platform::kUrlErrorNetworkConnectionLost, false},
    {"kind=truncation:2", platform::kUrlErrorNetworkConnectionLost, true},
    {"kind=truncation:2,framing=chunked", platform::kUrlErrorNetworkConnectionLost, true},
    {"kind=drip:20", platform::kUrlErrorTimedOut, false},
    {"kind=oversized:1073741824", platform::kUrlErrorDataLengthExceedsMaximum, true},
    {"kind=oversized:1073741824,framing=chunked", platform::kUrlErrorDataLengthExceedsMaximum, true},
    {"kind=oversized:1073741824,framing=until-close", platform::kUrlErrorDataLengthExceedsMaximum, true},
    {"kind=gzip-bomb:1073741824", platform::kUrlErrorDataLengthExceedsMaximum, true},
    {R"({"kind": "reply", "headers": {"Content-Encoding": "rot13"}, "body": "uryyb"})",
     platform::kUrlErrorCannotDecodeContentData, true},
    {R"({"kind": "reply", "headers": {"Content-Encoding": "gzip"}, "body": "not gzip at all"})",
     platform::kUrlErrorCannotDecodeContentData, true},
    {"kind=encoding:gzip,bytes=12", platform::kUrlErrorCannotDecodeContentData, true},
    {"kind=encoding:gzip,bytes=24", platform::kUrlErrorCannotDecodeContentData, true},  // of 25
    {"kind=encoding:deflate,bytes=4", platform::kUrlErrorCannotDecodeContentData, true},
    {"kind=encoding:br,bytes=3", platform::kUrlErrorCannotDecodeContentData, true},
    {R"({"kind": "encoding", "bytes": 12, "headers": {"Transfer-Encoding": "gzip"}})",
     platform::kUrlErrorBadServerResponse, true},
    {"kind=not-json", 0, true},
    {"kind=empty", 0, true},
    {"kind=nesting:100000", 0, true},
    {"kind=wrong-authority", platform::kUrlErrorServerCertificateUntrusted, false},
    {"kind=wrong-host-name", platform::kUrlErrorServerCertificateUntrusted, false},
    {"kind=expired", platform::kUrlErrorServerCertificateUntrusted, false},
    {"kind=common-name-only", platform::kUrlErrorServerCertificateUntrusted, false},
    {"kind=garbage", platform::kUrlErrorSecureConnectionFailed, false},
    {"kind=silent-handshake", platform::kUrlErrorTimedOut, false},
};

class UrlSessionFaultTest : public UrlSessionTest {
 protected:
  UrlSessionFaultTest() { given.maximumBodyBytes = 1u << 20; }
};

std::size_t descriptorCount() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

TEST_F(UrlSessionFaultTest, EachEndsOnceInTimeAndLeavesNothingBehind) {
  ASSERT_EQ("hello", bodyOf(fetch()));
  const std::size_t descriptors = descriptorCount();
  for (const FaultCase& row : kFaultCases) {
    SCOPED_TRACE(row.fault);
    backend.setFault(fault(row.fault));
    const auto begin = std::chrono::steady_clock::now();
    const platform::UrlSessionConfiguration patient = configuration;
    if (row.code == platform::kUrlErrorTimedOut) {
      configuration.timeoutIntervalForRequest = 0.3;
      configuration.timeoutIntervalForResource = 0.9;
    }
    const platform::UrlTaskResult result = fetch();
    configuration = patient;
    EXPECT_EQ(row.code, codeOf(result)) << (result.error ? result.error->description() : "");
    EXPECT_EQ(row.hasResponse, result.response.has_value());
    EXPECT_EQ(row.code == 0, result.data.has_value());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    backend.clearFaults();
    EXPECT_EQ("hello", bodyOf(fetch()));
    while (backend.openConnectionCount() > 1) usleep(1000);
    EXPECT_EQ(descriptors, descriptorCount());
  }
}

TEST_F(UrlSessionFaultTest, BytesThatArriveEndTheSilenceButNotTheLife) {
  configuration.timeoutIntervalForRequest = 0.3;
  backend.setFault(
      fault("kind=drip:30"));  // the status line alone takes longer than the silence that is borne
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ("hello", bodyOf(fetch()));
  EXPECT_GT(std::chrono::steady_clock::now() - begin, milliseconds(300));
}

TEST_F(UrlSessionFaultTest, ABodyUpToTheBoundArrivesAndNotOneByteMore) {
  given.maximumBodyBytes = 5;
  EXPECT_EQ("hello", bodyOf(fetch()));
  backend.setResource("/page", "hello!", "text/plain");
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

TEST_F(UrlSessionFaultTest, HeadersAndExtensionsWithoutEndAreNotReadForEver) {
  StandInFault many = fault("kind=reply");
  many.headers.assign(5000, {"X-Filler", std::string(100, 'x')});
  StandInFault one = fault("kind=reply");
  one.headers = {{"X-Filler", std::string(250'000, 'x')}};
  for (const StandInFault& endless : {many, one, fault("kind=endless-extension")}) {
    backend.setFault(endless);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(platform::kUrlErrorDataLengthExceedsMaximum, codeOf(fetch()));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
  }
}

}  // namespace
}  // namespace tidewell::posix

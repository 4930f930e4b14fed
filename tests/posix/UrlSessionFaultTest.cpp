// SPDX-License-Identifier: Apache-2.0
#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

using namespace platform;

/// A fault of the backend and its result in a session that accepts bodies up to 1 MiB.
struct FaultCase {
  const char* fault;
  std::int64_t code;  ///< 0: the reply arrives
  bool hasResponse;
  const char* text = nullptr;  ///< the body, or part of the error's description; null: any
  double requestTimeout = 30;  ///< seconds without data; rows that test a time-out lower one of the two
  double resourceTimeout = 90;
};

constexpr FaultCase kFaultCases[] = {
    {"kind=status:204", 0, true, ""},
    {"kind=delay:600000", kUrlErrorTimedOut, false, nullptr, 0.3},
    {"kind=silence", kUrlErrorTimedOut, false, nullptr, 0.3},
    {"kind=silent-handshake", kUrlErrorTimedOut, false, nullptr, 0.3},
    {"kind=drip:1000", kUrlErrorTimedOut, false, nullptr, 30, 0.9},
    {"kind=truncation:2", kUrlErrorNetworkConnectionLost, true},
    {"kind=truncation:2,framing=chunked", kUrlErrorNetworkConnectionLost, true},
    {"kind=oversized:1048576", 0, true},
    {"kind=oversized:1048577", kUrlErrorDataLengthExceedsMaximum, true},
    {"kind=oversized:1048576,framing=chunked", 0, true},
    {"kind=oversized:1073741824,framing=chunked", kUrlErrorDataLengthExceedsMaximum, true},
    {"kind=oversized:1073741824,framing=until-close", kUrlErrorDataLengthExceedsMaximum, true},
    {"kind=gzip-bomb:1048576", 0, true},
    {"kind=gzip-bomb:1048577", kUrlErrorDataLengthExceedsMaximum, true},
    {"kind=endless-extension", kUrlErrorDataLengthExceedsMaximum, true},
    {R"({"kind": "reply", "headers": {"Content-Encoding": "rot13"}, "body": "uryyb"})",
     kUrlErrorCannotDecodeContentData, true},
    {R"({"kind": "reply", "headers": {"Content-Encoding": "gzip"}, "body": "not gzip at all"})",
     kUrlErrorCannotDecodeContentData, true},
    {"kind=encoding:gzip", 0, true, "hello"},
    {"kind=encoding:gzip,bytes=24", kUrlErrorCannotDecodeContentData, true},  // of 25
    {"kind=encoding:deflate", 0, true, "hello"},
    {"kind=encoding:deflate,bytes=4", kUrlErrorCannotDecodeContentData, true},
    {"kind=encoding:br", 0, true, "hello"},
    {"kind=encoding:br,bytes=3", kUrlErrorCannotDecodeContentData, true},
    {R"({"kind": "encoding", "bytes": 12, "headers": {"Transfer-Encoding": "gzip"}})",
     kUrlErrorBadServerResponse, true},
    {"kind=empty", 0, true, ""},
    {"kind=wrong-authority", kUrlErrorServerCertificateUntrusted, false, "issuer"},
    {"kind=wrong-host-name", kUrlErrorServerCertificateUntrusted, false,
     "alternative certificate subject name"},
    {"kind=expired", kUrlErrorServerCertificateUntrusted, false, "expired"},
    {"kind=common-name-only", kUrlErrorServerCertificateUntrusted, false, "mismatch"},
    {"kind=garbage", kUrlErrorSecureConnectionFailed, false},
};

std::ptrdiff_t descriptorCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(UrlSessionTest, EachFaultAffectsOneRequestAndLeaksNoDescriptor) {
  given.setMaximumBodyBytes(1u << 20);
  ASSERT_EQ("hello", bodyOf(fetch()));
  const auto descriptors = descriptorCount();
  const UrlSessionConfiguration defaults = configuration;
  for (const FaultCase& row : kFaultCases) {
    SCOPED_TRACE(row.fault);
    backend.setFault(fault(row.fault));
    configuration.timeoutIntervalForRequest = row.requestTimeout;
    configuration.timeoutIntervalForResource = row.resourceTimeout;
    const UrlTaskResult result = fetch();
    const std::string text = result.error ? result.error->description() : bodyOf(result);
    EXPECT_EQ(row.code, codeOf(result)) << text.substr(0, 1000);
    EXPECT_EQ(row.hasResponse, result.response.has_value());
    EXPECT_EQ(row.code == 0, result.data.has_value());
    EXPECT_TRUE(!row.text || (result.error ? text.find(row.text) != text.npos : text == row.text)) << text;
    backend.clearFaults();
    configuration = defaults;
    EXPECT_EQ("hello", bodyOf(fetch()));
    EXPECT_TRUE(
        eventually([&] { return backend.openConnectionCount() <= 1 && descriptorCount() == descriptors; }));
  }
}

TEST_F(UrlSessionTest, TheResourceTimeoutIncludesTheWaitForAConnection) {
  configuration.timeoutIntervalForResource = 0.5;
  const auto session = makeSession();
  std::vector<std::future<platform::UrlTaskResult>> replies;
  for (int i = 0; i < 100; ++i) replies.push_back(send(*session, request("https://shop.example/held")));
  for (auto& reply : replies) EXPECT_EQ(kUrlErrorTimedOut, codeOf(reply.get()));
  release.set_value();
  EXPECT_TRUE(eventually([&] { return codeOf(send(*session).get()) == 0; }));
}

TEST_F(UrlSessionTest, ReceivedBytesRestartTheRequestTimeout) {
  configuration.timeoutIntervalForRequest = 10;
  backend.setFault(fault("kind=drip:500,status=204"));  // a status line of 25 bytes
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(0, codeOf(fetch()));
  EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(UrlSessionTest, HeadersAreBoundedInSize) {
  for (const auto& [count, length] : {std::pair{5000u, 100u}, {1u, 250'000u}}) {
    StandInFault endless = fault("kind=reply");
    endless.headers.assign(count, {"X-Filler", std::string(length, 'x')});
    backend.setFault(endless);
    EXPECT_EQ(kUrlErrorDataLengthExceedsMaximum, codeOf(fetch())) << count;
  }
}

TEST_F(UrlSessionTest, ARequestThatCannotBeSentFailsWithASpecificError) {
  given.addConnectionOverride("shop.example", 443, "127.0.0.1", 1);
  EXPECT_EQ(kUrlErrorCannotConnectToHost, codeOf(fetch()));
  EXPECT_EQ(kUrlErrorCannotFindHost, codeOf(fetch(request("https://no-such-host.invalid/"))));
  for (const char* url : {"http://shop.example/", "/relative", ""}) {
    EXPECT_EQ(kUrlErrorUnsupportedUrl, codeOf(fetch(request(url)))) << url;
  }
  EXPECT_EQ(kUrlErrorBadUrl,
            codeOf(fetch(request("https://shop.example/", "GET / HTTP/1.1\r\nX: y\r\n\r\nGET"))));
}

TEST_F(UrlSessionTest, ABackendReusesTheCertificateAuthorityInItsFolder) {
  testing::StandInBackendOptions with;
  with.directory = folder + "/made/here";
  with.caFile = folder + "/copy.pem";
  given.setCaFile(with.caFile);
  { const StandInBackend earlier(with); }
  with.caFile.clear();
  with.extraHosts = {"images.example"};  // not in the earlier backend's certificate
  const StandInBackend later(with);
  given.addConnectionOverride("images.example", 443, "127.0.0.1", later.port());
  EXPECT_EQ(0, codeOf(fetch(request("https://images.example/"))));
  for (const char* key : {"/ca.key", "/server.key"}) EXPECT_EQ(modeOf(with.directory + key), 0600u);
}

TEST_F(UrlSessionTest, AMissingOrReplacedCertificateFileIsReadAgain) {
  const std::string right = bytesOf(backend.caFile()), wrong = bytesOf(StandInBackend().caFile());
  const std::string file = folder + "/authorities.pem";
  given.setCaFile(file);
  const auto fetchWith = [&](const std::string& authorities) {
    writeFile(file, authorities);
    backend.setFault(fault("kind=expired,host=other.example"));  // closes the idle connection
    return codeOf(fetch());
  };
  const platform::UrlTaskResult missing = fetch();
  ASSERT_EQ(kUrlErrorSecureConnectionFailed, codeOf(missing));
  EXPECT_NE(std::string::npos, missing.error->description().find(file));
  ASSERT_EQ(kUrlErrorServerCertificateUntrusted, fetchWith(wrong));
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (std::chrono::steady_clock::now() < end) ASSERT_EQ(0, fetchWith(right));
  EXPECT_EQ(0, fetchWith(wrong)) << "the parsed certificates are cached again";
}

}  // namespace
}  // namespace tidewell::posix

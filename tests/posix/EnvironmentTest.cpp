#include "tidewell/posix/internal/Environment.h"

#include <map>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

class EnvironmentTest : public PosixTest {
 protected:
  EnvironmentTest() { clearenv(); }
  /// The settings of a process that begins with these variables.
  static TransportSettings settings(const std::map<std::string, std::string>& variables,
                                    const Options& options) {
    for (const auto& [name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
    const Environment environment = Environment::read();
    for (const auto& [name, value] : variables) unsetenv(name.c_str());
    return transportSettings(options, environment);
  }
};

TEST_F(EnvironmentTest, OneFileOfCertificatesIsTakenWhereThereIsOne) {
  Options with;
  with.systemRoot = folder;
  std::filesystem::create_directories(folder + "/etc/ssl/certs");
  EXPECT_EQ(settings({}, with).caDirectory, folder + "/etc/ssl/certs");
  writeFile(folder + "/etc/ssl/cert.pem", "PEM");
  EXPECT_EQ(settings({}, with).caFile, folder + "/etc/ssl/cert.pem");
  EXPECT_EQ(settings({}, with).caDirectory, "");
  EXPECT_EQ(settings({{"SSL_CERT_DIR", "/b"}}, with).caFile, "") << "the folder is all that is trusted";
  const TransportSettings twice = settings(
      {{"SSL_CERT_FILE", "/etc/ssl/certs/ca-certificates.crt"}, {"SSL_CERT_DIR", "/etc/ssl/certs"}}, with);
  EXPECT_EQ(twice.caDirectory, "") << "the same certificates, looked up with each connection";
  with.caFile = "/own.pem";
  EXPECT_EQ(settings({{"SSL_CERT_FILE", "/a.pem"}, {"SSL_CERT_DIR", "/b"}}, with).caFile, "/own.pem");
}

TEST_F(EnvironmentTest, ProxiesAreThoseOfTheEnvironmentUnlessTheOptionsSayOtherwise) {
  struct Case {
    std::map<std::string, std::string> variables;
    std::string option, http, https, except;
  };
  const std::map<std::string, std::string> two{{"https_proxy", "p:1"}, {"no_proxy", "example.org"}};
  for (const Case& each : {Case{two, "", "", "p:1", "example.org"}, Case{two, "-", "", "", ""},
                           Case{two, "socks5://o:9", "socks5://o:9", "socks5://o:9", ""},
                           Case{{{"ALL_PROXY", "a:2"}, {"HTTPS_PROXY", "s:3"}}, "", "a:2", "s:3", ""},
                           Case{{{"HTTP_PROXY", "request header"}, {"http_proxy", ""}}, "", "", "", ""}}) {
    Options with;
    with.proxy = each.option;
    const TransportSettings result = settings(each.variables, with);
    EXPECT_EQ(result.httpProxy, each.http);
    EXPECT_EQ(result.httpsProxy, each.https);
    EXPECT_EQ(result.noProxy, each.except);
  }
}

}  // namespace
}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/Environment.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <vector>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/posix/internal/RaisedRights.h"

namespace tidewell::posix {
namespace {

/// Variables that make libcurl and ICU write or read files, even with raised privileges.
constexpr const char* kVariablesOfLibraries[] = {"SSLKEYLOGFILE", "ICU_DATA", "ICU_TIMEZONE_FILES_DIR"};

/// The value of the first variable that is set and not empty.
std::string variable(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (const char* const value = std::getenv(name); value && *value != '\0') return value;
  }
  return {};
}

constexpr std::size_t kLongestQuotedValue = 100;

std::string ignored(std::string_view name, std::string_view value, std::string_view wanted) {
  std::string text(name);
  text.append(": \"").append(value.substr(0, kLongestQuotedValue)).append("\" is ignored; it is not ");
  return text.append(wanted);
}

/// A word of a variable and its meaning.
template <class Meaning>
struct Word {
  std::string_view word;
  Meaning meaning;
};
constexpr Word<bool> kFlags[] = {{"1", true},  {"true", true},   {"yes", true},
                                 {"0", false}, {"false", false}, {"no", false}};
/// The numbers of `TWLogLevel`, which belongs to a layer above.
constexpr Word<std::int64_t> kLogLevels[] = {{"off", 0}, {"debug", 1}, {"errors", 2}};

/// The meaning of a variable in any case; no value, with a complaint, if it has none.
template <class Meaning, std::size_t size>
std::optional<Meaning> meaning(const char* name, const Word<Meaning> (&words)[size], std::string_view wanted,
                               std::vector<std::string>& complaints) {
  const std::string value = variable({name});
  if (value.empty()) return std::nullopt;
  for (const auto& each : words) {
    if (base::detail::equalsIgnoringCase(value, each.word)) return each.meaning;
  }
  complaints.push_back(ignored(name, value, wanted));
  return std::nullopt;
}

/// By `ServiceHost`.
constexpr const char* kHostVariables[platform::kServiceHostCount] = {
    "TIDEWELL_HOST_US", "TIDEWELL_HOST_SERV3", "TIDEWELL_HOST_EU", "TIDEWELL_HOST_LOGS"};

std::string homeOfUserRecord() {
  constexpr std::size_t kMaximumRecordBytes = 1u << 20;
  std::vector<char> buffer(1024);
  passwd record{};
  passwd* found = nullptr;
  for (;;) {
    const int error = getpwuid_r(geteuid(), &record, buffer.data(), buffer.size(), &found);
    if (error != ERANGE || buffer.size() >= kMaximumRecordBytes) break;
    buffer.resize(buffer.size() * 2);
  }
  return found && found->pw_dir ? found->pw_dir : "";
}

bool isAbsolute(std::string_view path) { return path.starts_with('/'); }

/// Where distributions keep all trusted certificates in one file.
constexpr std::string_view kCertificateFiles[] = {
    "/etc/ssl/certs/ca-certificates.crt",                 // Debian, Ubuntu, Arch, Gentoo
    "/etc/pki/tls/certs/ca-bundle.crt",                   // Fedora, RHEL
    "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem",  // Fedora since 43, RHEL
    "/etc/ssl/ca-bundle.pem",                             // openSUSE
    "/var/lib/ca-certificates/ca-bundle.pem",             // openSUSE, SLE
    "/etc/ssl/cert.pem",                                  // Alpine, OpenBSD
    "/usr/local/etc/ssl/cert.pem",                        // FreeBSD
    "/usr/local/share/certs/ca-root-nss.crt",             // FreeBSD, DragonFly
    "/etc/openssl/certs/ca-certificates.crt",             // NetBSD
};
/// Where they keep them in a folder, by hashed names.
constexpr std::string_view kCertificateDirectories[] = {"/etc/ssl/certs", "/etc/pki/tls/certs",
                                                        "/usr/local/etc/ssl/certs", "/etc/openssl/certs"};

template <std::size_t size>
std::string firstExisting(const std::string_view (&places)[size], const std::string& root, mode_t kind) {
  for (const std::string_view place : places) {
    std::string path = root + std::string(place);
    struct stat record {};
    if (stat(path.c_str(), &record) == 0 && (record.st_mode & S_IFMT) == kind) return path;
  }
  return {};
}

/// Whether a file and a folder contain the same certificates, namely the distribution's own.
bool areTheSameCertificates(const std::string& file, const std::string& directory) {
  return std::find(std::begin(kCertificateFiles), std::end(kCertificateFiles), file) !=
             std::end(kCertificateFiles) &&
         std::find(std::begin(kCertificateDirectories), std::end(kCertificateDirectories), directory) !=
             std::end(kCertificateDirectories);
}

/// Trusted certificates in a file, in a folder by hashed names, or both.
struct Certificates {
  std::string file;
  std::string directory;
};

/// From the option if given, otherwise from the environment, otherwise the system's.
Certificates chooseCertificates(const std::string& option, const Environment& environment,
                                const std::string& systemRoot) {
  if (!option.empty()) return {option, ""};
  Certificates chosen{environment.certificateFile, environment.certificateDirectory};
  if (chosen.file.empty() && chosen.directory.empty()) {
    chosen.file = firstExisting(kCertificateFiles, systemRoot, S_IFREG);
    if (chosen.file.empty()) {
      chosen.directory = firstExisting(kCertificateDirectories, systemRoot, S_IFDIR);
    }
  }
  // A folder is searched for each connection; a file is parsed once and cached.
  if (areTheSameCertificates(chosen.file, chosen.directory)) chosen.directory.clear();
  return chosen;
}

}  // namespace

Environment Environment::read() {
  Environment result;
  const bool isTrusted = !hasRaisedRights();
  if (isTrusted) {
    result.home = variable({"HOME"});
    result.dataHome = variable({"XDG_DATA_HOME"});
  }
  if (!isAbsolute(result.home)) result.home = homeOfUserRecord();
  if (!isAbsolute(result.home)) result.home.clear();
  if (!isAbsolute(result.dataHome)) {
    result.dataHomeIsOwn = false;
    result.dataHome =
        result.home.empty() ? "" : platform::stringByAppendingPathComponent(result.home, ".local/share");
  }
  if (!isTrusted) {
    for (const char* name : kVariablesOfLibraries) {
      if (std::getenv(name)) unsetenv(name);
    }
    return result;
  }
  if (const char* const zone = std::getenv("TZ")) result.timeZone = zone;
  result.certificateFile = variable({"SSL_CERT_FILE"});
  result.certificateDirectory = variable({"SSL_CERT_DIR"});
  // Not HTTP_PROXY: in a CGI program, clients can set it with a "Proxy" header.
  result.httpProxy = variable({"http_proxy", "all_proxy", "ALL_PROXY"});
  result.httpsProxy = variable({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
  result.noProxy = variable({"no_proxy", "NO_PROXY"});
  constexpr std::string_view kFlagWords = "1, true, yes, 0, false or no";
  result.isDisabled = meaning("TIDEWELL_DISABLED", kFlags, kFlagWords, result.complaints);
  result.isOffline = meaning("TIDEWELL_OFFLINE", kFlags, kFlagWords, result.complaints);
  result.logLevel = meaning("TIDEWELL_LOG", kLogLevels, "debug, errors or off", result.complaints);
  for (std::size_t which = 0; which < result.serviceHosts.size(); ++which) {
    result.serviceHosts[which] = variable({kHostVariables[which]});
  }
  return result;
}

bool isDisabled(const Options::State& options, const Environment& environment) {
  return options.isDisabled.value_or(environment.isDisabled.value_or(false));
}

platform::Policy policyOf(const Options::State& options, const Environment& environment,
                          std::vector<std::string>& complaints) {
  platform::Policy policy;
  policy.setOffline(options.isOffline.value_or(environment.isOffline.value_or(false)))
      .setRequiresConsent(options.isConsentRequired)
      .setLogLevel(environment.logLevel);
  for (std::size_t which = 0; which < options.serviceHosts.size(); ++which) {
    const ServiceHost host{static_cast<std::uint8_t>(which)};
    static_cast<void>(
        policy.setServiceHost(host, options.serviceHosts[which]));  // checked by `complaintAbout`
    const std::string& variable = environment.serviceHosts[which];
    if (!options.usesHostsFromEnvironment || variable.empty()) continue;
    if (!policy.setServiceHost(host, variable)) {
      complaints.push_back(ignored(kHostVariables[which], variable, kWantedHost));
    }
  }
  return policy;
}

TransportSettings transportSettings(const Options::State& options, const Environment& environment) {
  TransportSettings settings;
  const Certificates servers = chooseCertificates(options.caFile, environment, options.systemRoot);
  settings.caFile = servers.file;
  settings.caDirectory = servers.directory;
  const Certificates proxies = chooseCertificates(options.proxyCaFile, environment, options.systemRoot);
  settings.proxyCaFile = proxies.file;
  settings.proxyCaDirectory = proxies.directory;
  if (options.proxy.empty()) {
    settings.httpProxy = environment.httpProxy;
    settings.httpsProxy = environment.httpsProxy;
    settings.noProxy = environment.noProxy;
  } else if (options.proxy != "-") {
    settings.httpProxy = options.proxy;
    settings.httpsProxy = options.proxy;
  }
  settings.connectionOverrides = options.connectionOverrides;
  return settings;
}

}  // namespace tidewell::posix

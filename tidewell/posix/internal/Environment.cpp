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
  return result;
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

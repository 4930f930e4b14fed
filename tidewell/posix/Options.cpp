// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/Options.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/OptionsState.h"

namespace tidewell::posix {
namespace {

bool isReadableFile(const std::string& path) {
  struct stat record {};
  return stat(path.c_str(), &record) == 0 && S_ISREG(record.st_mode) && access(path.c_str(), R_OK) == 0;
}

bool isAddress(const std::string& text) {
  in6_addr binary{};  // also has room for IPv4
  return inet_pton(AF_INET, text.c_str(), &binary) == 1 || inet_pton(AF_INET6, text.c_str(), &binary) == 1;
}

}  // namespace

Options::Options() : state_(std::make_unique<State>()) {}
Options::~Options() = default;
Options::Options(const Options& other) : state_(std::make_unique<State>(other.state())) {}
Options& Options::operator=(const Options& other) {
  if (this != &other) state_ = std::make_unique<State>(other.state());
  return *this;
}
Options::Options(Options&& other) noexcept = default;
Options& Options::operator=(Options&& other) noexcept = default;

const Options::State& Options::state() const noexcept {
  static base::NeverDestroyed<State> defaults;
  return state_ ? *state_ : *defaults;
}

Options::State& Options::changed() {
  if (!state_) state_ = std::make_unique<State>();
  return *state_;
}

Options& Options::setBundleIdentifier(std::string identifier) {
  changed().bundleIdentifier = std::move(identifier);
  return *this;
}
Options& Options::setVersion(std::string version) {
  changed().version = std::move(version);
  return *this;
}
Options& Options::setInfoDictionary(base::Dictionary values) {
  changed().infoDictionary = std::move(values);
  return *this;
}
Options& Options::setInfoPlistPath(std::string path) {
  changed().infoPlistPath = std::move(path);
  return *this;
}
Options& Options::setMainLoop(MainLoop loop) {
  changed().mainLoop = loop;
  return *this;
}
Options& Options::setConsoleSink(std::function<void(std::string_view text)> sink) {
  changed().consoleSink = std::move(sink);
  return *this;
}
Options& Options::setCaFile(std::string path) {
  changed().caFile = std::move(path);
  return *this;
}
Options& Options::setProxy(std::string proxy) {
  changed().proxy = std::move(proxy);
  return *this;
}
Options& Options::setProxyCaFile(std::string path) {
  changed().proxyCaFile = std::move(path);
  return *this;
}
Options& Options::addConnectionOverride(std::string host, std::uint16_t port, std::string address,
                                        std::uint16_t toPort) {
  auto& all = changed().connectionOverrides;
  const auto known = std::find_if(all.begin(), all.end(), [&](const ConnectionOverride& each) {
    return each.host == host && each.port == port;
  });
  ConnectionOverride& place = known == all.end() ? all.emplace_back() : *known;
  place = {std::move(host), port, std::move(address), toPort};
  return *this;
}
Options& Options::setMaximumBodyBytes(std::size_t bytes) {
  changed().maximumBodyBytes = bytes;
  return *this;
}
Options& Options::setModernLinkOpening(bool isModern) {
  changed().modernLinkOpening = isModern;
  return *this;
}
Options& Options::setLinkOpener(std::shared_ptr<platform::LinkOpener> opener) {
  changed().linkOpener = std::move(opener);
  return *this;
}
Options& Options::setScreenSize(platform::ScreenSize size) {
  changed().screenSize = size;
  return *this;
}
Options& Options::setDataHome(std::string path) {
  changed().dataHome = std::move(path);
  return *this;
}
Options& Options::setSystemRoot(std::string path) {
  changed().systemRoot = std::move(path);
  return *this;
}

Options& Options::setDisabled(bool isDisabled) {
  changed().isDisabled = isDisabled;
  return *this;
}
Options& Options::setOffline(bool isOffline) {
  changed().isOffline = isOffline;
  return *this;
}
Options& Options::setConsentRequired(bool isRequired) {
  changed().isConsentRequired = isRequired;
  return *this;
}
Options& Options::setServiceHost(ServiceHost which, std::string host) {
  const auto index = static_cast<std::size_t>(which);
  if (index < platform::kServiceHostCount) changed().serviceHosts[index] = std::move(host);
  return *this;
}
Options& Options::setHostsFromEnvironment(bool areUsed) {
  changed().usesHostsFromEnvironment = areUsed;
  return *this;
}

std::string complaintAbout(const Options& options) {
  const Options::State& given = options.state();
  const auto wrong = [](std::string_view setter, std::string_view value, std::string_view wanted) {
    std::string text(setter);
    return text.append(": \"").append(value).append("\" is not ").append(wanted);
  };
  if (given.bundleIdentifier.empty()) {
    return wrong("setBundleIdentifier", "", "a bundle identifier, such as \"org.example.shop\"");
  }
  if (given.version.empty()) return wrong("setVersion", "", "a version, such as \"1.2\"");
  for (const auto& [setter, path] :
       {std::pair("setDataHome", &given.dataHome), std::pair("setSystemRoot", &given.systemRoot)}) {
    if (!path->empty() && checkPath(*path)) return wrong(setter, *path, "an absolute path");
  }
  for (const auto& [setter, path] :
       {std::pair("setCaFile", &given.caFile), std::pair("setProxyCaFile", &given.proxyCaFile)}) {
    if (!path->empty() && !isReadableFile(*path)) {
      return wrong(setter, *path, "a readable file of certificates (PEM)");
    }
  }
  for (const ConnectionOverride& each : given.connectionOverrides) {
    if (each.host.empty()) return wrong("addConnectionOverride", "", "a host name");
    if (each.port == 0 || each.toPort == 0) {
      return wrong("addConnectionOverride", "0", "a port from 1 to 65535, for " + each.host);
    }
    if (!isAddress(each.address)) {
      return wrong("addConnectionOverride", each.address, "an IP address, for " + each.host);
    }
  }
  if (given.maximumBodyBytes == 0) return wrong("setMaximumBodyBytes", "0", "a number of bytes above 0");
  if (!(given.screenSize.width >= 0 && given.screenSize.height >= 0)) {
    return wrong("setScreenSize",
                 std::to_string(given.screenSize.width) + " x " + std::to_string(given.screenSize.height),
                 "a size of 0 or more");
  }
  for (std::size_t which = 0; which < given.serviceHosts.size(); ++which) {
    const std::string& host = given.serviceHosts[which];
    if (!host.empty() &&
        !platform::Policy().setServiceHost(ServiceHost{static_cast<std::uint8_t>(which)}, host)) {
      return wrong("setServiceHost", host, kWantedHost);
    }
  }
  return {};
}

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/Options.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/OptionsState.h"

namespace tidewell::posix {

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

std::string complaintAbout(const Options& options) {
  const Options::State& given = options.state();
  if (given.bundleIdentifier.empty()) return "the options name no bundle identifier";
  if (given.version.empty()) return "the options name no version of the application";
  if (!given.dataHome.empty() && checkPath(given.dataHome)) {
    return "the data folder of the options is no absolute path: " + given.dataHome;
  }
  return {};
}

}  // namespace tidewell::posix

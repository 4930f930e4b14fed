// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "tidewell/posix/Options.h"

namespace tidewell::posix {

/// What a host must be, in complaints.
inline constexpr std::string_view kWantedHost =
    "a host name with an optional port, such as \"staging.example.com\" or \"localhost:8443\"";

/// See `Options::addConnectionOverride`.
struct ConnectionOverride {
  std::string host;
  std::uint16_t port = 443;
  std::string address;
  std::uint16_t toPort = 443;
};

/// The fields behind the setters of `Options`, which document them.
struct Options::State {
  std::string bundleIdentifier;
  std::string version;
  base::Dictionary infoDictionary;
  std::string infoPlistPath;
  MainLoop mainLoop = MainLoop::ownThread;
  std::function<void(std::string_view text)> consoleSink;
  std::string caFile;
  std::string proxy;
  std::string proxyCaFile;
  std::vector<ConnectionOverride> connectionOverrides;
  std::size_t maximumBodyBytes = 16u << 20;
  bool modernLinkOpening = true;
  std::shared_ptr<platform::LinkOpener> linkOpener;
  platform::ScreenSize screenSize;
  std::string dataHome;
  std::string systemRoot;
  std::optional<bool> isDisabled;
  std::optional<bool> isOffline;
  bool isConsentRequired = false;
  std::array<std::string, platform::kServiceHostCount> serviceHosts;  ///< by `ServiceHost`
  bool usesHostsFromEnvironment = false;
};

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <string>

#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/posix/PosixPlatform.h"

namespace tidewell::guest {

inline std::string variable(const char* name) {
  const char* const value = getenv(name);
  return value != nullptr ? value : "";
}

/// The platform options of the host programs, with the backend named in the environment.
inline posix::Options hostOptions() {
  posix::Options made;
  made.setBundleIdentifier("org.example.life");
  made.setVersion("3.1");
  if (!variable("HOST_LOOP").empty()) made.setMainLoop(posix::MainLoop::host);
  made.setCaFile(variable("HOST_CA"));
  made.setSystemRoot(variable("HOST_ROOT"));
  made.setProxyCaFile(variable("HOST_PROXY_CA"));
  if (const std::string off = variable("HOST_DISABLED"); !off.empty()) made.setDisabled(off == "yes");
  made.setConsentRequired(!variable("HOST_CONSENT").empty());
  made.setServiceHost(posix::ServiceHost::us, variable("HOST_US"));
  made.setHostsFromEnvironment(!variable("HOST_DEVELOPMENT").empty());
  const auto port = static_cast<std::uint16_t>(std::atoi(variable("HOST_PORT").c_str()));
  for (const auto host : {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES})
    made.addConnectionOverride(std::string(host), 443, "127.0.0.1", port);
  return made;
}

}  // namespace tidewell::guest

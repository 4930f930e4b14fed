// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/posix/PosixPlatform.h"

/// For the demo only: redirects the connections to the backend to the stand-in on this machine that
/// TIDEWELL_STAND_IN_PORT and TIDEWELL_STAND_IN_CA name, if both are set. The URLs stay those of production.
inline void useStandIn(tidewell::posix::Options& options) {
  const char* port = std::getenv("TIDEWELL_STAND_IN_PORT");
  const char* ca = std::getenv("TIDEWELL_STAND_IN_CA");
  if (port == nullptr || ca == nullptr) return;
  options.setCaFile(ca);
  options.setProxy("-");
  const auto toPort = static_cast<std::uint16_t>(std::stoi(port));
  for (const auto host : {tidewell::HOST_TDW_PROD_US, tidewell::HOST_TDW_PROD_SERV3,
                          tidewell::HOST_TDW_PROD_EU, tidewell::HOST_LOGENTRIES}) {
    options.addConnectionOverride(std::string(host), 443, "127.0.0.1", toPort);
  }
}

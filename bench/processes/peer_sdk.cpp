// SPDX-License-Identifier: Apache-2.0
// The SDK: install and start; then the first gate.
#include "Peer.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

int main(int argc, char**) {
  const auto start = [] {
    tidewell::posix::Options options;
    options.setBundleIdentifier("org.example.peer");
    options.setVersion("1.0");
    auto platform = tidewell::posix::install(options);
    tidewell::TidewellCore::sharedInstance().initializeWithAppID("DEMO_APP");
    return platform;
  };
  volatile bool isActive = false;
  return bench::runPeer(argc, start, [&](auto&) {
    isActive = tidewell::TWConfigManager::sharedInstance().isGeofenceServiceActive();
  });
}

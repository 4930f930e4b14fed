// SPDX-License-Identifier: Apache-2.0
// The SDK: install and start; then the first gate. With the argument `prepare`, the first process of an
// application instead, which leaves the files that the others read.
#include <string_view>

#include "Peer.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

namespace {

using namespace tidewell;

posix::PosixPlatform* install() {
  posix::Options options;
  options.setBundleIdentifier("org.example.peer");
  options.setVersion("1.0");
  return posix::install(options);
}

void prepare() {
  posix::PosixPlatform* const platform = install();
  TWCoreUtils::saveAppId("DEMO_APP");
  (void)TWCoreUtils::getSDKUniqueIdForUser();
  TWConfigManager::sharedInstance().updateConfigFromResponse(
      base::Dictionary{{"a_s", "allowed"}, {"b_e", base::Array{"Opened", "Closed"}}});
  platform->standardUserDefaults().setObject(platform->clock().now(), kConfigLastUpdatedKey);
  platform->standardUserDefaults().synchronize();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "prepare") return prepare(), 0;
  const auto start = [] {
    posix::PosixPlatform* const platform = install();
    TidewellCore::sharedInstance().initializeWithAppID("DEMO_APP");
    return platform;
  };
  volatile bool isActive = false;
  return bench::runPeer(
      argc, start, [&](auto&) { isActive = TWConfigManager::sharedInstance().isGeofenceServiceActive(); });
}

// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <iostream>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

int main() {
  tidewell::posix::Options options;
  options.setBundleIdentifier("org.example.shop").setVersion("1.0");
  if (!tidewell::posix::install(options)) return 1;  // the reason is on standard error

  auto& sdk = tidewell::TidewellCore::sharedInstance();
  sdk.initializeWithAppID("YOUR_APP_ID");  // does not wait for the network
  const auto sync = sdk.waitForSync(std::chrono::seconds(10));
  if (sync.status().lastSuccess() == std::nullopt) std::cerr << sync.status().detail() << '\n';

  const auto& config = tidewell::TWConfigManager::sharedInstance();
  const bool mayTrack = config.isDataTrackingEnabled() && !config.isEventBlackListed("add_to_cart");
  std::cout << "track add_to_cart: " << (mayTrack ? "yes" : "no") << '\n';
}

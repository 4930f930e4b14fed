// SPDX-License-Identifier: Apache-2.0
// The minimum of a short-lived program: install a platform, start the SDK, wait for the configuration, query
// it.
#include <chrono>
#include <cstdio>
#include <string>

#include "../StandIn.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

int main(int argc, char** argv) {
  tidewell::posix::Options options;
  options.setBundleIdentifier("org.example.hello");
  options.setVersion("1.0");
  useStandIn(options);  // the demo's backend; omit this in an application
  if (tidewell::posix::install(options) == nullptr) return 1;

  auto& sdk = tidewell::TidewellCore::sharedInstance();
  sdk.initializeWithAppID(argc > 1 ? argv[1] : "DEMO_APP");
  // A program that keeps running does not wait: gates answer at any time.
  const tidewell::SyncStatus status = sdk.waitForSync(std::chrono::seconds(10)).status();
  if (status.outcome() == tidewell::SyncOutcome::failed) {
    std::printf("not synced: %s\n", std::string(status.detail()).c_str());
  }

  const auto& config = tidewell::TWConfigManager::sharedInstance();
  std::printf("account active: %s\n", config.isAccountActive() ? "yes" : "no");
  std::printf("events per batch: %lld\n", static_cast<long long>(config.getEventBatchCount()));
}

// SPDX-License-Identifier: Apache-2.0
// The minimum of an application: install a platform, start the SDK, query it.
#include <chrono>
#include <cstdio>

#include "../StandIn.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

int main(int argc, char** argv) {
  tidewell::posix::Options options;
  options.setBundleIdentifier("org.example.hello");
  options.setVersion("1.0");
  options.setMainLoop(tidewell::posix::MainLoop::host);
  useStandIn(options);  // the demo's backend; omit this in an application
  tidewell::posix::PosixPlatform* platform = tidewell::posix::install(options);
  if (platform == nullptr) return 1;

  tidewell::TidewellCore::sharedInstance().initializeWithAppID(argc > 1 ? argv[1] : "DEMO_APP");
  // An event loop of the application would do this.
  platform->runMainQueue(std::chrono::milliseconds(500));

  const auto& config = tidewell::TWConfigManager::sharedInstance();
  std::printf("account active: %s\n", config.isAccountActive() ? "yes" : "no");
  std::printf("events per batch: %lld\n", static_cast<long long>(config.getEventBatchCount()));
}

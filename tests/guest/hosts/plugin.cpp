// SPDX-License-Identifier: Apache-2.0
// A plug-in that loads the SDK into a program that does not link it. Built twice.
#include <atomic>
#include <cstdio>
#include <string_view>

#include "HostOptions.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TidewellCore.h"

using namespace tidewell;

extern "C" __attribute__((visibility("default"))) int pluginCall(const char* command);

/// "start" returns whether this plug-in's platform was installed.
int pluginCall(const char* command) {
  if (command == std::string_view("start")) {
    const bool first = posix::install(guest::hostOptions()) != nullptr;
    TidewellCore::sharedInstance().initializeWithAppID("GUEST");
    return first;
  }
  if (command == std::string_view("send")) {
    TWNetworkRequest(TWServiceSendReports, std::nullopt, std::nullopt, std::nullopt, "guest")
        .executeRequestWithCompletionBlock([](bool, const base::Value&) {
          static std::atomic<int> count{0};
          std::printf("completed %d\n", ++count);
        });
  }
  return static_cast<int>(TWConfigManager::sharedInstance().getEventBatchCount());
}

// A plug-in that brings the SDK into a program that knows nothing of it. Built twice.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

#define PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))

using namespace tidewell;

PLUGIN_ENTRY bool pluginStart();
PLUGIN_ENTRY void pluginSend();
PLUGIN_ENTRY int pluginBatchCount();

/// Whether this plug-in's platform is the one in force.
bool pluginStart() {
  posix::Options options;
  options.bundleIdentifier = "org.example.guest";
  options.version = "1.0";
  options.caFile = getenv("GUEST_CA");
  options.connectionOverrides.push_back({std::string(HOST_TDW_PROD_US), 443, "127.0.0.1",
                                         static_cast<std::uint16_t>(std::atoi(getenv("GUEST_PORT")))});
  const bool first = posix::install(options) != nullptr;
  TidewellCore::sharedInstance().initializeWithAppID("GUEST");
  return first;
}

void pluginSend() {
  const TWNetworkRequest request(TWServiceSendReports, std::nullopt, std::nullopt, std::nullopt, "guest");
  request.executeRequestWithCompletionBlock([](bool success, const base::Value&) {
    static std::atomic<int> count{0};
    std::printf("completed %d %s\n", ++count, success ? "YES" : "NO");
    std::fflush(stdout);
  });
}

int pluginBatchCount() { return static_cast<int>(TWConfigManager::sharedInstance().getEventBatchCount()); }

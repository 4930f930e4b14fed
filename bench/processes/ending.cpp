// SPDX-License-Identifier: Apache-2.0
// A host that exits while requests and log lines are in progress. usage: process_ending PORT, on which a
// server listens and never answers. Prints the monotonic clock in nanoseconds as its last action.
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

int main(int argc, char** argv) {
  using namespace tidewell;
  if (argc != 2) return 2;
  posix::Options options;
  options.setBundleIdentifier("org.example.ending");
  options.setVersion("1.0");
  options.setProxy("-");
  options.setConsoleSink([](std::string_view) {});
  options.addConnectionOverride(std::string(HOST_TDW_PROD_US), 443, "127.0.0.1",
                                static_cast<std::uint16_t>(std::atoi(argv[1])));
  if (posix::install(options) == nullptr) return 3;
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  TidewellCore::sharedInstance().initializeWithAppID("ENDING");
  for (int i = 0; i < 16; ++i) {
    TWNetworkRequest(TWServiceSendReports, std::nullopt, std::nullopt, std::nullopt, "x")
        .executeRequestWithCompletionBlock(nullptr);
  }
  usleep(50'000);  // the transfers are in their handshakes
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  std::printf("%lld\n", static_cast<long long>(now.tv_sec) * 1'000'000'000 + now.tv_nsec);
  return 0;
}

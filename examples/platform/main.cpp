// SPDX-License-Identifier: Apache-2.0
// A game on a platform of its own (HostPlatform.h), over two starts.
//
//   platform FOLDER first; platform FOLDER second
//
// The saved data is in FOLDER. Exits with 0 only if every check passes.
#include <cstdio>
#include <string_view>

#include "HostPlatform.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TidewellCore.h"

namespace {

int faults = 0;
void check(bool right, const char* what) {
  std::printf("%s %s\n", right ? "ok" : "!!", what);
  faults += right ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::fprintf(stderr, "usage: platform FOLDER first|second\n"), 2;
  const bool isFirst = argv[2] == std::string_view("first");

  const auto game = std::make_shared<host::HostPlatform>(argv[1]);
  int requests = 0;
  game->setHttpClient([&](const tidewell::platform::UrlRequest&) {
    ++requests;  // a game would pass the request to its HTTP client
    return tidewell::testing::ScriptedNetwork::reply(200, R"({"a_s": "allowed", "b_e": ["spam"]})");
  });
  if (!tidewell::platform::Platform::install(game)) return 1;

  tidewell::TidewellCore::sharedInstance().initializeWithAppID("GAME");
  for (int frame = 0; frame < 3; ++frame) game->runFrame();

  auto& config = tidewell::TWConfigManager::sharedInstance();
  const std::string device = tidewell::TWCoreUtils::getDeviceUniqueID().value_or("");
  game->runFrame();
  check(config.isEventBlackListed("spam"), "an event is black-listed");
  check(config.isDataTrackingEnabled() == isFirst,
        isFirst ? "data tracking is on" : "the player has opted out");
  check(requests == (isFirst ? 1 : 0), isFirst ? "one request" : "no request within the hour");
  auto& defaults = game->standardUserDefaults();
  if (isFirst) {
    config.setDataTrackingOptedOut(true);
    defaults.setObject(device, "device");
    check(!device.empty() && defaults.synchronize(), "the device has an identifier");
  } else {
    check(defaults.stringForKey("device") == device, "the device has the same identifier");
  }
  return faults == 0 ? 0 : 1;
}

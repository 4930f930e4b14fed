// SPDX-License-Identifier: Apache-2.0
// A game on a platform of its own (HostPlatform.h), over three starts, each of which is a process:
//
//   platform FOLDER first; platform FOLDER second; platform FOLDER reinstalled
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
  if (argc != 3) return std::fprintf(stderr, "usage: platform FOLDER first|second|reinstalled\n"), 2;
  const host::fs::path folder = argv[1];
  const std::string_view start = argv[2];
  const bool isSecond = start == "second";
  if (start == "reinstalled") host::fs::remove_all(folder / "game");

  const auto game = std::make_shared<host::HostPlatform>(folder);
  if (start == "reinstalled") game->setVendorIdentifier("1B9D6BCD-BBFD-4B2D-9B5D-AB8DFBBD4BED");
  int requests = 0;
  game->setHttpClient([&](const tidewell::platform::UrlRequest&) {
    ++requests;  // a game would pass the request to its HTTP client
    return tidewell::testing::ScriptedNetwork::reply(200, R"({"a_s": "allowed", "b_e": ["spam"]})");
  });
  if (!tidewell::platform::Platform::install(game)) return 1;

  tidewell::TidewellCore::sharedInstance().initializeWithAppID("GAME");
  for (int frame = 0; frame < 3; ++frame) game->runFrame();

  auto& config = tidewell::TWConfigManager::sharedInstance();
  check(config.isEventBlackListed("spam"), "an event is black-listed");
  check(config.isDataTrackingEnabled() != isSecond,
        isSecond ? "the player has opted out" : "data tracking is on");
  check(requests == (isSecond ? 0 : 1), isSecond ? "no request within the hour" : "one request");
  config.setDataTrackingOptedOut(true);

  const std::string device = tidewell::TWCoreUtils::getDeviceUniqueID().value_or("");
  const std::string known = (folder / "device").string();
  if (start == "first") {
    check(!device.empty() && !game->fileManager().replaceFile(known, device), "the device has an identifier");
  } else {
    check(game->fileManager().contentsOfFile(known).contents == device, "the device has the same identifier");
  }
  return faults == 0 ? 0 : 1;
}

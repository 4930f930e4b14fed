// SPDX-License-Identifier: Apache-2.0
// An application tests how it behaves when the SDK fails. The test controls the clock, the network and the
// disk. Exits with 0 if every check passes.
#include <cstdio>
#include <system_error>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/testing/TestingPlatform.h"

namespace {

using tidewell::TidewellCore;
using tidewell::TWConfigManager;
using tidewell::testing::FileOperation;
using tidewell::testing::ScriptedNetwork;
using tidewell::testing::TestingPlatform;

int faults = 0;
void check(bool right, const char* what) {
  std::printf("%s %s\n", right ? "ok" : "!!", what);
  faults += right ? 0 : 1;
}

/// The application under test.
struct Shop {
  void addToCart() {
    const auto& config = TWConfigManager::sharedInstance();
    if (config.isDataTrackingEnabled() && !config.isEventBlackListed("add_to_cart")) ++tracked;
  }
  int tracked = 0;
};

}  // namespace

int main() {
  const auto machine = TestingPlatform::install();  // before anything else of the SDK
  auto& sdk = TidewellCore::sharedInstance();
  auto& config = TWConfigManager::sharedInstance();
  Shop shop;

  // The scripted network counts requests.
  int requests = 0;
  bool down = false;
  machine->testNetwork().setHandler([&](const tidewell::platform::UrlRequest&) {
    ++requests;
    if (down) return ScriptedNetwork::reply(503);
    return ScriptedNetwork::reply(200, R"({"a_s": "allowed", "b_e": ["add_to_cart"]})");
  });

  // First launch. Queues run only in `runUntilIdle`, so the reply has not been handled yet.
  sdk.initializeWithAppID("SHOP");
  shop.addToCart();
  check(shop.tracked == 1, "before the first reply the defaults apply");
  machine->runUntilIdle();
  shop.addToCart();
  check(requests == 1 && shop.tracked == 1, "the reply takes effect at once");

  // The virtual clock moves only in `advance` and `setNow`.
  const auto comeBackAfter = [&](double seconds) {
    machine->testClock().advance(seconds);
    machine->enterForeground();
    machine->runUntilIdle();
  };
  comeBackAfter(3599);
  check(requests == 1, "nothing is downloaded within the hour");
  down = true;
  comeBackAfter(1);
  check(requests == 2 && config.isEventBlackListed("add_to_cart"), "a failed download changes nothing");
  down = false;
  comeBackAfter(1);
  check(requests == 3, "a failed download is repeated at the next occasion");

  // The disk is full when the user opts out.
  sdk.debug(tidewell::TWLogLevelDebug);
  machine->testConsole().takeLines();
  machine->testFiles().failCall(FileOperation::replace, 1,
                                std::make_error_code(std::errc::no_space_on_device));
  config.setDataTrackingOptedOut(true);
  check(!config.isDataTrackingEnabled(), "the opt-out takes effect anyway");
  check(!machine->testConsole().takeLines().empty(), "the log reports the fault");
  config.setUserPushNotificationOptedOut(true);
  const TWConfigManager nextLaunch;  // reads the files
  check(!nextLaunch.isDataTrackingEnabled(), "the next write saves both opt-outs");

  // A locked keychain.
  machine->testKeychain().setStatus(tidewell::platform::errSecInteractionNotAllowed);
  check(!sdk.isDeviceUniqueIDPresentInKeyChain(), "an item that cannot be read counts as missing");
  return faults == 0 ? 0 : 1;
}

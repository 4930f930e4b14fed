// How an application tests what it does when the SDK says no: its whole life in one process, with the clock,
// the network and the disk in its hands. Ends with status 0 where everything was as it should be.
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

  // The network answers what the test says, and counts.
  int requests = 0;
  bool down = false;
  machine->testNetwork().setHandler([&](const tidewell::platform::UrlRequest&) {
    ++requests;
    if (down) return ScriptedNetwork::reply(503);
    return ScriptedNetwork::reply(200, R"({"a_s": "allowed", "b_e": ["add_to_cart"]})");
  });

  // First launch. Nothing runs on a queue before the test says so, so this is the moment before the reply.
  sdk.initializeWithAppID("SHOP");
  shop.addToCart();
  check(shop.tracked == 1, "before the first reply the defaults hold");
  machine->runUntilIdle();
  shop.addToCart();
  check(requests == 1 && shop.tracked == 1, "the reply is in force as soon as it has come");

  // The clock stands still until it is moved. An hour passes in no time.
  const auto comeBackAfter = [&](double seconds) {
    machine->testClock().advance(seconds);
    machine->enterForeground();
    machine->runUntilIdle();
  };
  comeBackAfter(3599);
  check(requests == 1, "within the hour nothing is downloaded");
  down = true;
  comeBackAfter(1);
  check(requests == 2 && config.isEventBlackListed("add_to_cart"), "a failed download changes nothing");
  down = false;
  comeBackAfter(1);
  check(requests == 3, "and is tried again on the next occasion");

  // A full disk, at the very moment when the user opts out.
  sdk.debug(tidewell::TWLogLevelDebug);
  machine->testConsole().takeLines();
  machine->testFiles().failCall(FileOperation::replace, 1,
                                std::make_error_code(std::errc::no_space_on_device));
  config.setDataTrackingOptedOut(true);
  check(!config.isDataTrackingEnabled(), "the opt-out is in force all the same");
  check(!machine->testConsole().takeLines().empty(), "the log says what went wrong");
  config.setUserPushNotificationOptedOut(true);
  const TWConfigManager nextLaunch;  // reads what is on the disk by now
  check(!nextLaunch.isDataTrackingEnabled(), "the next write keeps both for the next launch");

  // A locked keychain.
  machine->testKeychain().setStatus(tidewell::platform::errSecInteractionNotAllowed);
  check(!sdk.isDeviceUniqueIDPresentInKeyChain(), "what cannot be read is not there, and nobody waits");
  return faults == 0 ? 0 : 1;
}

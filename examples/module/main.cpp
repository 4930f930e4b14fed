// SPDX-License-Identifier: Apache-2.0
// Runs the module on the testing platform. Exits with 0 if every check passes.
#include <cstdio>

#include "Inbox.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/testing/TestingPlatform.h"

namespace {

/// The application's delegate, which does not know the module.
class AppDelegate : public tidewell::platform::UIApplicationDelegate {
 public:
  void didReceiveRemoteNotification(tidewell::platform::UIApplication&,
                                    const tidewell::base::Dictionary&) override {
    ++heard;
  }
  int heard = 0;
};

}  // namespace

int main() {
  const auto machine = tidewell::testing::TestingPlatform::install();
  int faults = 0;
  const auto check = [&](bool right, const char* what) {
    std::printf("%s %s\n", right ? "ok" : "!!", what);
    faults += right ? 0 : 1;
  };
  machine->testNetwork().setHandler([](const tidewell::platform::UrlRequest& request) {
    const bool isInbox = request.URL()->absoluteString().find("getInboxMessages") != std::string::npos;
    return tidewell::testing::ScriptedNetwork::reply(200, isInbox ? R"({"messages": ["Hello"]})" : "{}");
  });
  const auto application = tidewell::platform::UIApplication::sharedApplication();
  const auto delegate = tidewell::runtime::make<AppDelegate>();
  application->setDelegate(delegate);
  tidewell::TidewellCore::sharedInstance().initializeWithAppID("SHOP");
  Inbox inbox;
  machine->runUntilIdle();

  inbox.fetch([&](const auto& messages) { check(messages && messages->count() == 1, "messages arrive"); });
  machine->runUntilIdle();
  check(inbox.messages().has_value(), "messages are kept");
  tidewell::platform::NotificationCenter::defaultCenter().postNotificationName(
      tidewell::kNotificationNameUserReset);
  check(!inbox.messages(), "messages are dropped when the user changes");

  application->deliverRemoteNotification({{"inbox", 1}});
  machine->runUntilIdle();
  check(inbox.messages().has_value(), "a push message fetches them again");
  check(delegate->heard == 1, "the application receives the push message, too");

  tidewell::TWConfigManager::sharedInstance().updateConfigFromResponse(
      tidewell::base::Dictionary{{"in_s", "blocked"}});
  const auto requests = machine->testNetwork().sent().size();
  bool answered = false;
  inbox.fetch([&](const auto& messages) { answered = !messages; });
  check(answered && machine->testNetwork().sent().size() == requests, "a closed gate sends no request");
  return faults == 0 ? 0 : 1;
}

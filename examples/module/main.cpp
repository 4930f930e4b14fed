// Lets the module live on a machine in the hands of a test. Ends with status 0 where it did as it should.
#include <cstdio>

#include "Inbox.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/testing/TestingPlatform.h"

namespace {

/// The application's own, which knows nothing of the module.
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
  check(inbox.messages().has_value(), "and are kept");
  tidewell::platform::NotificationCenter::defaultCenter().postNotificationName(
      tidewell::kNotificationNameUserReset);
  check(!inbox.messages(), "until another user comes");

  application->deliverRemoteNotification({{"inbox", 1}});
  machine->runUntilIdle();
  check(inbox.messages().has_value(), "a push message fetches them");
  check(delegate->heard == 1, "and the application hears of it, too");

  tidewell::TWConfigManager::sharedInstance().updateConfigFromResponse(
      tidewell::base::Dictionary{{"in_s", "blocked"}});
  const auto requests = machine->testNetwork().sent().size();
  bool answered = false;
  inbox.fetch([&](const auto& messages) { answered = !messages; });
  check(answered && machine->testNetwork().sent().size() == requests, "a gate that is shut sends nothing");
  return faults == 0 ? 0 : 1;
}

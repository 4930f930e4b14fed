// Lets the module live on a machine in the hands of a test. Ends with status 0 where it did as it should.
#include <cstdio>
#include <optional>

#include "Inbox.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/testing/TestingPlatform.h"

int main() {
  const auto machine = tidewell::testing::TestingPlatform::install();
  int faults = 0;
  const auto check = [&](bool right, const char* what) {
    std::printf("%s %s\n", right ? "ok" : "!!", what);
    faults += right ? 0 : 1;
  };

  Inbox inbox;
  machine->testNetwork().setHandler([](const tidewell::platform::UrlRequest& request) {
    const bool isInbox = request.URL()->absoluteString().find("getInboxMessages") != std::string::npos;
    return tidewell::testing::ScriptedNetwork::reply(200, isInbox ? R"({"messages": ["Hello"]})" : "{}");
  });
  tidewell::TidewellCore::sharedInstance().initializeWithAppID("SHOP");
  machine->runUntilIdle();

  inbox.fetch([&](const auto& messages) { check(messages && messages->count() == 1, "messages arrive"); });
  machine->runUntilIdle();
  check(inbox.messages().has_value(), "and are kept");

  tidewell::platform::NotificationCenter::defaultCenter().postNotificationName(
      tidewell::kNotificationNameUserReset);
  check(!inbox.messages(), "until another user comes");

  tidewell::TWConfigManager::sharedInstance().updateConfigFromResponse(
      tidewell::base::Dictionary{{"in_s", "blocked"}});
  bool answered = false;
  inbox.fetch([&](const auto& messages) { answered = !messages; });
  check(answered && machine->testNetwork().pending() == 0, "a gate that is shut sends nothing");
  return faults == 0 ? 0 : 1;
}

// A host as others build it: without exceptions, without RTTI, with another compiler, another standard, LTO,
// assertions. Whatever was said on its command line, the library has to answer the same; the program ends
// with status 0 where it did, and says on standard error what was wrong where it did not.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/core/appdelegate/TWAppDelegateSwizzler.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/posix/PosixPlatform.h"
#include "tidewell/testing/TestingPlatform.h"

namespace {

bool allRight = true;

void expect(bool right, const char* what) {
  if (right) return;
  allRight = false;
  std::fprintf(stderr, "not so: %s\n", what);
}

/// What arrives from the library's threads. Never destroyed: they go on while `main` returns.
struct Inbox {
  std::mutex mutex;
  std::condition_variable changed;
  int failures = 0;
  int successes = 0;
  std::string lines;

  bool waitForFailures(int count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(30), [&] { return failures >= count; });
  }
};
Inbox& inbox = *new Inbox;

/// Classes of the host's that the library calls, and of which it makes another one at run time.
class Delegate : public tidewell::platform::UIApplicationDelegate {
 public:
  void didReceiveRemoteNotification(tidewell::platform::UIApplication&,
                                    const tidewell::base::Dictionary&) override {
    ++heard;
  }
  int heard = 0;
};
class Interceptor : public Delegate {};

tidewell::posix::Options options() {
  tidewell::posix::Options options;
  options.bundleIdentifier = "org.example.host";
  options.version = "1.0";
  options.proxy = "-";
  options.consoleSink = [](std::string_view line) {
    const std::lock_guard lock(inbox.mutex);
    inbox.lines.append(line).append("\n");
  };
  // Where nobody listens: the request fails, but not before the URL session was found and has tried.
  for (const std::string_view host : {tidewell::HOST_TDW_PROD_US, tidewell::HOST_LOGENTRIES}) {
    options.connectionOverrides.push_back({std::string(host), 443, "127.0.0.1", 1});
  }
  return options;
}

void asksTheConfiguration() {
  auto& config = tidewell::TWConfigManager::sharedInstance();
  tidewell::base::Error error;
  const auto reply = tidewell::base::JSONObjectWithData(
      R"({"a_s": "allowed", "b_e": ["spam"], "e_b_c": 7, "b_uid_r": ["[0-9]+", "("]})", &error);
  config.updateConfigFromResponse(reply);
  expect(config.isAccountActive(), "the account is active");
  expect(config.isEventBlackListed("spam"), "an event of the list is on the list");
  expect(!config.isEventBlackListed("sale"), "another one is not");
  expect(config.getEventBatchCount() == 7, "a number arrives");

  using Restriction = tidewell::TWConfigManager::Restriction;
  std::string reason;
  expect(config.restrictionOfUniqueID("12") == Restriction::restricted, "a matching ID is restricted");
  expect(config.restrictionOfUniqueID("x", &reason) == Restriction::invalidExpression && !reason.empty(),
         "an invalid expression is said, and raises nothing");

  int shown = 0;
  for (const auto& entry : *reply.dictionary()) shown += entry.value.description().empty() ? 0 : 1;
  expect(shown == 4, "a reply can be walked");
  std::printf("account active: %s\n", config.isAccountActive() ? "yes" : "no");
}

void sendsARequest() {
  const tidewell::TWNetworkRequest request(tidewell::TWServiceGetConfig, std::nullopt, std::nullopt,
                                           tidewell::base::Dictionary{{"query_params", "none"}}, "HOST");
  request.executeRequestWithCompletionBlock([](bool success, const tidewell::base::Value& response) {
    const std::lock_guard lock(inbox.mutex);
    ++(success || !response.isNil() ? inbox.successes : inbox.failures);
    inbox.changed.notify_all();
  });
  expect(inbox.waitForFailures(1), "a request that reaches nobody completes");
  const std::lock_guard lock(inbox.mutex);
  expect(inbox.successes == 0, "and fails");
  expect(inbox.lines.find("-1004") != std::string::npos, "because nobody listens, and for no other reason");
}

void hearsWhatTheDelegateHears() {
  using tidewell::TWAppDelegateSwizzler;
  const auto application = tidewell::platform::UIApplication::sharedApplication();
  const auto delegate = tidewell::runtime::make<Delegate>();
  const auto interceptor = tidewell::runtime::make<Interceptor>();
  application->setDelegate(delegate);
  expect(TWAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor).has_value(),
         "a class of the host's can be an interceptor");
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  application->deliverRemoteNotification({{"aps", 1}});
  expect(interceptor->heard == 1 && delegate->heard == 1, "interceptor and delegate hear once each");
}

void usesTheTestingLibrary() {
  tidewell::testing::ManualQueue queue;
  tidewell::platform::Queue& asTheLibrarySeesIt = queue;
  int ran = 0;
  asTheLibrarySeesIt.async([&] { ++ran; });
  expect(ran == 0 && queue.runAll() == 1 && ran == 1, "a queue of the testing library runs when told");
}

}  // namespace

int main() {
  expect(tidewell::posix::install(options()) != nullptr, "the platform can be installed");
  int posted = 0;
  auto& center = tidewell::platform::NotificationCenter::defaultCenter();
  center.addObserver("HOST", [&](const auto&) { ++posted; });
  center.postNotificationName("HOST");
  expect(posted == 1, "an observer hears once");

  tidewell::TidewellCore::sharedInstance().debug(tidewell::TWLogLevelDebug);
  tidewell::TidewellCore::sharedInstance().initializeWithAppID("HOST");
  asksTheConfiguration();
  sendsARequest();
  hearsWhatTheDelegateHears();
  usesTheTestingLibrary();
  return allRight ? 0 : 1;
}

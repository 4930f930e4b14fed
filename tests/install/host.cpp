// SPDX-License-Identifier: Apache-2.0
// A host built with other settings: without exceptions or RTTI, with another compiler or standard, with LTO
// or assertions. Exits with status 1 and prints the difference if the library answers otherwise.
#include <cstdio>
#include <future>
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

int status = 0;

void expect(bool condition, const char* what) {
  if (condition) return;
  status = 1;
  std::fprintf(stderr, "check failed: %s\n", what);
}

std::promise<bool>& succeeded = *new std::promise<bool>;  // never freed: threads use it until the exit

class Delegate : public tidewell::platform::UIApplicationDelegate {
 public:
  void didReceiveRemoteNotification(tidewell::platform::UIApplication&,
                                    const tidewell::base::Dictionary&) override {
    ++heard;
  }
  int heard = 0;
};
class Interceptor : public Delegate {};

}  // namespace

int main() {
  using namespace tidewell;
  posix::Options options;
  options.setBundleIdentifier("org.example.host");
  options.setVersion("1.0");
  options.setProxy("-");
  options.setConsoleSink([](std::string_view line) { expect(!line.empty(), "a line"); });
  for (const std::string_view host : {HOST_TDW_PROD_US, HOST_LOGENTRIES}) {
    options.addConnectionOverride(std::string(host), 443, "127.0.0.1", 1);  // a closed port
  }
  expect(posix::install(options) != nullptr, "the platform can be installed");
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
  TidewellCore::sharedInstance().initializeWithAppID("HOST");

  auto& config = TWConfigManager::sharedInstance();
  const auto reply = base::JSONObjectWithData(R"({"e_b_c": 7, "b_uid_r": ["[0-9]+", "("]})", nullptr);
  int entries = 0;
  for (const auto& entry : *reply.dictionary()) entries += entry.value.description().empty() ? 0 : 1;
  expect(entries == 2, "a reply can be iterated");
  config.updateConfigFromResponse(reply);
  expect(config.getEventBatchCount() == 7, "a merged number is returned");
  std::string reason;
  expect(config.restrictionOfUniqueID("12") == TWConfigManager::Restriction::restricted,
         "an ID is restricted");
  expect(config.restrictionOfUniqueID("x", &reason) == TWConfigManager::Restriction::invalidExpression,
         "an invalid expression is reported");
  std::printf("account active: %s\n", config.isAccountActive() ? "yes" : "no");

  const TWNetworkRequest request(TWServiceGetConfig, std::nullopt, std::nullopt,
                                 base::Dictionary{{"x", "none"}}, "HOST");
  request.executeRequestWithCompletionBlock(
      [](bool success, const base::Value&) { succeeded.set_value(success); });
  expect(!succeeded.get_future().get(), "a request that reaches no host fails");

  const auto application = platform::UIApplication::sharedApplication();
  const auto delegate = runtime::make<Delegate>();
  const auto interceptor = runtime::make<Interceptor>();
  application->setDelegate(delegate);
  expect(TWAppDelegateSwizzler::registerAppDelegateInterceptor(interceptor).has_value(),
         "a host's interceptor");
  TWAppDelegateSwizzler::proxyOriginalDelegateIncludingAPNSMethods();
  application->deliverRemoteNotification({{"aps", 1}});
  expect(interceptor->heard == 1 && delegate->heard == 1, "interceptor and delegate are called once each");

  testing::ManualQueue queue;
  platform::Queue& asTheLibrarySeesIt = queue;
  int ran = 0;
  asTheLibrarySeesIt.async([&] { ++ran; });
  expect(ran == 0 && queue.runAll() == 1 && ran == 1, "a queue of the testing library runs on request");
  return status;
}

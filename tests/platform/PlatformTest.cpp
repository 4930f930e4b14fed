#include "tidewell/platform/Platform.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::platform {
namespace {

std::vector<std::string>& reports() {
  static base::NeverDestroyed<std::vector<std::string>> texts;
  return *texts;
}

TEST(Platform, KnowsNothingBeforeInstallation) {
  Platform& machine = Platform::current();
  EXPECT_FALSE(Platform::isInstalled());
  machine.standardUserDefaults().setObject("value", "key");
  EXPECT_TRUE(machine.standardUserDefaults().objectForKey("key").isNil());
  EXPECT_EQ(machine.fileManager().contentsOfFile("/etc/passwd").error, std::errc::no_such_file_or_directory);
  EXPECT_TRUE(machine.fileManager().replaceFile("/tmp/file", "text"));
  EXPECT_EQ(machine.keychain().itemAdd({}), errSecNotAvailable);
  EXPECT_GT(machine.clock().now().secondsSince1970, 1.6e9);
  machine.mainQueue().async([] { ADD_FAILURE() << "a function ran although there is no queue"; });
}

TEST(Platform, TasksFailInOrderOnAnotherThreadBeforeInstallation) {
  const auto session = Platform::current().makeUrlSession({.name = "early"});
  EXPECT_EQ(session->configuration().name, "early");
  std::vector<std::int64_t> codes;
  std::promise<std::thread::id> finished;
  const auto url = base::Url::URLWithString("https://api.example/");
  session->dataTaskWithRequest(UrlRequest(url), [&](UrlTaskResult result) {
    codes.push_back(result.error->code);
    throw std::runtime_error("a completion's own fault");
  });
  session->dataTaskWithRequest(UrlRequest(url), nullptr);
  session->dataTaskWithRequest(UrlRequest(std::nullopt), [&](UrlTaskResult result) {
    codes.push_back(result.error->code);
    finished.set_value(std::this_thread::get_id());
  });
  EXPECT_NE(finished.get_future().get(), std::this_thread::get_id());
  EXPECT_EQ(codes, (std::vector{kUrlErrorResourceUnavailable, kUrlErrorUnsupportedUrl}));
  for (int later = 0; later < 20; ++later) {  // the thread of the first may have ended
    std::promise<void> completed;
    session->dataTaskWithRequest(UrlRequest(url), [&](const UrlTaskResult&) { completed.set_value(); });
    completed.get_future().wait();
  }
}

TEST(Platform, TheFirstInstalledStaysAndTheSecondIsReportedAndLetGo) {
  setReporter([](std::string_view text) { reports().emplace_back(text); });
  EXPECT_FALSE(Platform::install(nullptr));
  EXPECT_FALSE(Platform::isInstalled());
  const auto first = std::make_shared<testing::TestingPlatform>();
  EXPECT_TRUE(Platform::install(first));
  EXPECT_EQ(&Platform::current(), first.get());

  auto second = std::make_shared<testing::TestingPlatform>();
  const std::weak_ptr<Platform> watched = second;
  reports().clear();
  EXPECT_FALSE(Platform::install(std::move(second)));
  EXPECT_EQ(&Platform::current(), first.get());
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(reports(), std::vector<std::string>{"A platform is installed already and stays in force"});
}

TEST(Platform, AForwardingPlatformAnswersEverythingAsTheOtherDoes) {
  const auto other = std::make_shared<testing::TestingPlatform>();
  other->setModernLinkOpening(false);
  ForwardingPlatform forwarding(other);
  const auto answers = [](Platform& of) {
    return std::vector<const void*>{&of.standardUserDefaults(),
                                    of.userDefaultsWithSuiteName("group").get(),
                                    &of.fileManager(),
                                    &of.keychain(),
                                    &of.device(),
                                    &of.bundles(),
                                    &of.clock(),
                                    &of.console(),
                                    &of.mainQueue(),
                                    &of.globalQueue(),
                                    &of.sharedUrlSession(),
                                    &of.linkOpener(),
                                    &of.presenter()};
  };
  EXPECT_EQ(answers(forwarding), answers(*other));
  EXPECT_FALSE(forwarding.hasModernLinkOpening());
  EXPECT_EQ(forwarding.makeUrlSession({.name = "made"})->configuration().name, "made");
}

TEST(Platform, AReporterThatThrowsHarmsNobody) {
  report("nobody listens yet");
  setReporter([](std::string_view) { throw std::runtime_error("full"); });
  report("a sentence");
}

TEST(StringByAppendingPathComponent, HasExactlyOneSeparator) {
  for (const auto& [path, component, expected] : {std::tuple{"/a", "b", "/a/b"},
                                                  {"/a//", "//b", "/a/b"},
                                                  {"/", "b", "/b"},
                                                  {"", "b", "b"},
                                                  {"/a", "", "/a"}})
    EXPECT_EQ(stringByAppendingPathComponent(path, component), expected);
}

TEST(UserDefaults, OnlyStringsAndNumbersHaveAText) {
  testing::MemoryUserDefaults defaults;
  const std::pair<base::Value, std::optional<std::string>> cases[] = {
      {"", ""}, {42, "42"}, {true, "1"}, {base::Data("text"), std::nullopt}, {nullptr, std::nullopt}};
  for (const auto& [stored, expected] : cases) {
    defaults.setObject(stored, "key");
    EXPECT_EQ(defaults.stringForKey("key"), expected) << stored.description();
  }
}

}  // namespace
}  // namespace tidewell::platform

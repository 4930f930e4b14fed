#include "tidewell/platform/Platform.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::platform {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

std::vector<std::string>& reports() {
  static base::NeverDestroyed<std::vector<std::string>> texts;
  return *texts;
}

TEST(Platform, StoresAndRunsNothingBeforeInstallation) {
  Platform& machine = Platform::current();
  EXPECT_FALSE(Platform::isInstalled());
  machine.standardUserDefaults().setObject("value", "key");
  EXPECT_TRUE(machine.standardUserDefaults().objectForKey("key").isNil());
  EXPECT_EQ(machine.fileManager().contentsOfFile("/etc/passwd").error, std::errc::no_such_file_or_directory);
  EXPECT_TRUE(machine.fileManager().replaceFile("/tmp/file", "text"));
  EXPECT_EQ(machine.keychain().itemAdd({}), errSecNotAvailable);
  EXPECT_GT(machine.clock().now().secondsSince1970, 1.6e9);
  machine.mainQueue().async([] { ADD_FAILURE() << "a function ran although there is no queue"; });

  const auto session = machine.makeUrlSession({.name = "early"});
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

TEST(Platform, TheFirstInstalledStaysAndASecondIsReportedAndReleased) {
  report("dropped without a reporter");
  setReporter([](std::string_view) { throw std::runtime_error("full"); });
  report("a throwing reporter is harmless");
  setReporter([](std::string_view text) { reports().emplace_back(text); });
  EXPECT_FALSE(Platform::install(nullptr));
  EXPECT_FALSE(Platform::isInstalled());
  const auto first = std::make_shared<testing::TestingPlatform>();
  EXPECT_TRUE(Platform::install(first));
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
    return std::tuple(&of.standardUserDefaults(), of.userDefaultsWithSuiteName("group"), &of.fileManager(),
                      &of.keychain(), &of.device(), &of.bundles(), &of.clock(), &of.console(),
                      &of.mainQueue(), &of.globalQueue(), &of.sharedUrlSession(), &of.linkOpener(),
                      &of.presenter(), of.hasModernLinkOpening());
  };
  EXPECT_EQ(answers(forwarding), answers(*other));
  EXPECT_EQ(forwarding.makeUrlSession({.name = "made"})->configuration().name, "made");
}

TEST(Platform, PathsAndTextsOfDefaults) {
  for (const auto& [path, component, expected] : {std::tuple{"/a", "b", "/a/b"},
                                                  {"/a//", "//b", "/a/b"},
                                                  {"/", "b", "/b"},
                                                  {"", "b", "b"},
                                                  {"/a", "", "/a"}})
    EXPECT_EQ(stringByAppendingPathComponent(path, component), expected);
  testing::MemoryUserDefaults defaults;
  const std::pair<base::Value, std::optional<std::string>> rows[] = {
      {"", ""}, {42, "42"}, {true, "1"}, {base::Data("text"), std::nullopt}, {nullptr, std::nullopt}};
  for (const auto& [stored, expected] : rows) {
    defaults.setObject(stored, "key");
    EXPECT_EQ(defaults.stringForKey("key"), expected) << stored.description();
  }
}

TEST(UrlRequest, ChecksHeadersAsTheyAreSetAndResponsesPrintThemInOrder) {
  UrlRequest request(std::nullopt);
  request.setValue("1", "App-ID");
  request.setValue("", "Accept");
  request.setValue("2", "APP-id");
  const std::pair<std::string, std::string> refused[] = {{"a\r\nEvil: 1", "Accept"},
                                                         {"a\nb", "Accept"},
                                                         {std::string("a\0b", 3), "Accept"},
                                                         {"x", ""},
                                                         {"x", "two words"},
                                                         {"x", "Colon:"},
                                                         {"x", "Line\n"},
                                                         {"x", "\xC3\xA4"}};
  for (const auto& [value, name] : refused) {
    request.setValue(value, name);
    EXPECT_EQ(request.allHTTPHeaderFields(), (Headers{{"APP-id", "2"}, {"Accept", ""}})) << name << value;
  }
  request.setValue("\tt\xC3\xA4", "x!#$%&'*+-.^_`|~9");
  request.setValue(std::nullopt, "app-id");
  request.setValue(std::nullopt, "unknown");
  EXPECT_EQ(request.allHTTPHeaderFields(), (Headers{{"Accept", ""}, {"x!#$%&'*+-.^_`|~9", "\tt\xC3\xA4"}}));
  EXPECT_EQ(request.valueForHTTPHeaderField("ACCEPT"), "");
  EXPECT_EQ(request.valueForHTTPHeaderField("App-ID"), std::nullopt);

  for (const Headers& headers : {Headers{{"Vary", "Origin"}, {"Set-Cookie", "a=1"}, {"set-cookie", "b=2"}},
                                 Headers{{"Set-Cookie", "a=1"}, {"Vary", "Origin"}, {"Set-Cookie", "b=2"}}})
    EXPECT_EQ((UrlResponse{"https://api.example/v1", 404, headers}.description()),
              R"(<NSHTTPURLResponse> { URL: https://api.example/v1 } { Status Code: 404, Headers {
    "Set-Cookie" =     (
        "a=1",
        "b=2"
    );
    Vary =     (
        Origin
    );
} })");
}

}  // namespace
}  // namespace tidewell::platform

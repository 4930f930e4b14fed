// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/Platform.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::platform {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

TEST(Platform, IsInertBeforeInstallation) {
  Platform& machine = Platform::current();
  EXPECT_FALSE(Platform::isInstalled());
  machine.standardUserDefaults().setObject("value", "key");
  EXPECT_TRUE(machine.standardUserDefaults().objectForKey("key").isNil());
  EXPECT_EQ(machine.fileManager().contentsOfFile("/etc/passwd").error, std::errc::no_such_file_or_directory);
  EXPECT_TRUE(machine.fileManager().replaceFile("/tmp/file", "text"));
  EXPECT_EQ(machine.keychain().itemAdd({}), errSecNotAvailable);
  EXPECT_GT(machine.clock().now().secondsSince1970, 1.6e9);
  machine.mainQueue().async([] { ADD_FAILURE() << "a function ran without a queue"; });

  const auto session = machine.makeUrlSession({.name = "early"});
  EXPECT_EQ(session->configuration().name, "early");
  std::vector<std::int64_t> codes;
  const auto url = base::Url::URLWithString("https://api.example/");
  session->dataTaskWithRequest(UrlRequest(url), nullptr);
  for (int i = 0; i < 20; ++i) {  // the thread of earlier ones may have exited
    std::promise<std::thread::id> completed;
    session->dataTaskWithRequest(UrlRequest(i == 0 ? std::nullopt : url), [&](const UrlTaskResult& result) {
      codes.push_back(result.error->code);
      sigset_t blocked;
      pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
      EXPECT_TRUE(sigismember(&blocked, SIGTERM)) << "a host's handler would run on the library's thread";
      completed.set_value(std::this_thread::get_id());
      throw std::runtime_error("a completion's own fault");
    });
    EXPECT_NE(completed.get_future().get(), std::this_thread::get_id());
  }
  codes.resize(2);
  EXPECT_EQ(codes, (std::vector{kUrlErrorUnsupportedUrl, kUrlErrorResourceUnavailable}));
}

TEST(Platform, ASecondInstallationIsReportedAndReleased) {
  report("dropped without a reporter");
  setReporter([](std::string_view) { throw std::runtime_error("full"); });
  report("a throwing reporter is harmless");
  static std::string reported;
  setReporter([](std::string_view text) { reported += text; });
  EXPECT_FALSE(Platform::install(nullptr));
  EXPECT_FALSE(Platform::isInstalled());
  const auto first = std::make_shared<testing::TestingPlatform>();
  EXPECT_TRUE(Platform::install(first));
  auto second = std::make_shared<testing::TestingPlatform>();
  const std::weak_ptr<Platform> watched = second;
  EXPECT_FALSE(Platform::install(std::move(second)));
  EXPECT_EQ(&Platform::current(), first.get());
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(first->testConsole().lines(), std::vector{std::string("Tidewell: ").append(kSecondPlatform)});
  EXPECT_FALSE(Platform::install(std::make_shared<testing::TestingPlatform>()));
  EXPECT_TRUE(reported.ends_with(kSecondPlatform)) << "announced once, reported each time after";
}

TEST(Platform, AWrappedPlatformStillHasItsExtensions) {
  struct Extended : ForwardingPlatform {
    using ForwardingPlatform::ForwardingPlatform;
    void* extension(std::string_view name) override { return name == "part" ? &part : nullptr; }
    int part = 1;
  };
  const auto machine = std::make_shared<Extended>(std::make_shared<testing::TestingPlatform>());
  ForwardingPlatform wrapped(machine);
  EXPECT_EQ(wrapped.extension("part"), &machine->part);
  EXPECT_EQ(wrapped.extension("other"), nullptr);
}

TEST(Platform, PathHelpersAndConversionOfDefaultsToText) {
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

TEST(UrlRequest, ValidatesHeadersAndResponsesPrintThemInOrder) {
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

  const Headers headers{{"Vary", "Origin"}, {"Set-Cookie", "a=1"}, {"set-cookie", "b=2"}};
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

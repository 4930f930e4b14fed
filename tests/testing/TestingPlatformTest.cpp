#include "tidewell/testing/TestingPlatform.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "tidewell/base/Exception.h"

namespace tidewell::testing {
namespace {

using platform::UrlRequest;
using platform::UrlTaskResult;

UrlRequest requestTo(const std::string& url) { return UrlRequest(base::Url::URLWithString(url)); }

TEST(TestingPlatform, ARestartKeepsFilesDefaultsKeychainAndTime) {
  const auto first = TestingPlatform::install();
  first->testDefaults().setObject("kept", "kept");
  first->testSuite("group").setObject("kept", "kept");
  first->testDefaults().synchronize();
  first->testSuite("group").synchronize();
  first->testDefaults().setObject("lost", "lost");
  first->testDefaults().removeObjectForKey("kept");
  first->testFiles().setContents("/app/Library/file", "bytes");
  EXPECT_EQ(first->testKeychain().itemAdd({{platform::kSecClass, platform::kSecClassGenericPassword}}), 0);
  first->testClock().advance(3600);
  first->testConsole().write("a line");
  first->testMainQueue().async([] { ADD_FAILURE() << "a function of the life before ran"; });
  first->sharedUrlSession().dataTaskWithRequest(requestTo("https://api.example/"), nullptr);

  const auto second = first->restart();
  EXPECT_EQ(&platform::Platform::current(), second.get());
  EXPECT_EQ(second->testDefaults().objectForKey("kept"), base::Value("kept"));
  EXPECT_TRUE(second->testDefaults().objectForKey("lost").isNil());
  EXPECT_EQ(second->userDefaultsWithSuiteName("group")->objectForKey("kept"), base::Value("kept"));
  EXPECT_EQ(second->testFiles().contents("/app/Library/file"), "bytes");
  EXPECT_EQ(second->testKeychain().itemCount(), 1u);
  EXPECT_EQ(second->clock().now().secondsSince1970, 1542042309.0 + 3600);
  EXPECT_TRUE(second->testConsole().lines().empty());
  EXPECT_TRUE(second->testNetwork().sent().empty());
  EXPECT_EQ(second->runUntilIdle(), 0u);
}

TEST(ManualQueue, IsCurrentOnlyOnTheThreadThatRunsItsFunctions) {
  ManualQueue queue;
  bool here = false, elsewhere = true;
  queue.async([&] {
    here = queue.isCurrent();
    std::thread([&] { elsewhere = queue.isCurrent(); }).join();
  });
  EXPECT_EQ(queue.runAll(), 1u);
  EXPECT_TRUE(here && !elsewhere && !queue.isCurrent());
}

TEST(MemoryUserDefaults, SynchronizeMergesWithOtherProcesses) {
  static int reports = 0;
  platform::setReporter([](std::string_view) { ++reports; });
  MemoryUserDefaults defaults;
  defaults.setObject("mine", "a");
  defaults.setSynchronized("theirs", "b");
  EXPECT_TRUE(defaults.objectForKey("b").isNil());

  defaults.setFailing(true);
  EXPECT_FALSE(defaults.synchronize());
  EXPECT_EQ(reports, 1);
  EXPECT_TRUE(defaults.synchronized().objectForKey("a").isNil());
  EXPECT_EQ(defaults.objectForKey("a"), base::Value("mine"));

  defaults.setFailing(false);
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_EQ(defaults.synchronized(), (base::Dictionary{{"a", "mine"}, {"b", "theirs"}}));
  EXPECT_EQ(defaults.objectForKey("b"), base::Value("theirs"));

  defaults.setSynchronized("theirs", "a");  // over what is no change of ours any more
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_EQ(defaults.objectForKey("a"), base::Value("theirs"));
  EXPECT_EQ(defaults.synchronizeCount(), 3u);

  const base::Value refused[] = {base::Value::null(), base::Array{base::Value::null()},
                                 *base::Url::URLWithString("https://api.example/"), base::BoxedPointer{}};
  for (const auto& value : refused) EXPECT_THROW(defaults.setObject(value, "a"), base::Exception);
  EXPECT_EQ(defaults.objectForKey("a"), base::Value("theirs"));
  defaults.setObject({}, "a");
  EXPECT_TRUE(defaults.objectForKey("a").isNil());
}

TEST(ScriptedNetwork, RefusesWhatARealSessionRefuses) {
  const auto platform = TestingPlatform::install();
  const auto session = platform->makeUrlSession({.maximumBodyBytes = 4, .httpsOnly = true});
  std::vector<std::string> notes;
  platform->testNetwork().setHandler([](const UrlRequest& request) {
    if (request.URL()->path() == "/fault") throw std::runtime_error("fault");
    return ScriptedNetwork::reply(200, request.URL()->path());
  });
  for (const char* url : {"https://h.example/abc", "https://h.example/abcd", "http://h.example/a", "",
                          "https://h.example/fault"}) {
    session->dataTaskWithRequest(requestTo(url), [&notes](const UrlTaskResult& result) {
      notes.push_back(result.error ? std::to_string(result.error->code) : std::string(result.data->view()));
    });
  }
  EXPECT_TRUE(notes.empty());
  platform->runUntilIdle();
  EXPECT_EQ(notes, (std::vector<std::string>{"/abc", "-1103", "-1002", "-1002", "-1"}));
}

}  // namespace
}  // namespace tidewell::testing

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/TestingPlatform.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

#include "tidewell/base/Exception.h"

namespace tidewell::testing {
namespace {

using platform::UrlRequest;

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
  first->testMainQueue().async([] { ADD_FAILURE() << "a function queued before the restart ran"; });
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

TEST(MemoryFileManager, FailsLikeADisk) {
  MemoryFileManager files;
  files.setContents("/app/Library/file", "old");
  const std::errc none{};
  const std::pair<std::error_code, std::errc> rows[] = {
      {files.createDirectoryAtPath("/app/Library/a/b"), std::errc::no_such_file_or_directory},
      {files.createDirectoryAtPath("/app/Library/a/"), none},
      {files.createDirectoryAtPath("/app/Library/a"), std::errc::file_exists},
      {files.createDirectoryAtPath("/app/Library/file/a"), std::errc::not_a_directory},
      {files.replaceFile("/app/none/file", ""), std::errc::no_such_file_or_directory},
      {files.replaceFile("", ""), std::errc::no_such_file_or_directory},
      {files.replaceFile(std::string_view("/app/\0", 6), ""), std::errc::invalid_argument},
      {files.replaceFile("/app/Library/a", ""), std::errc::is_a_directory},
      {files.replaceFile("/app/Library//a/new", "1"), none},
      {files.contentsOfFile("/app/Library/a").error, std::errc::is_a_directory},
      {files.contentsOfFile("/app/no").error, std::errc::no_such_file_or_directory},
      {files.moveItem("/app/no", "/app/yes"), std::errc::no_such_file_or_directory},
      {files.moveItem("/app/Library", "/app/Library/a/b"), std::errc::invalid_argument},
      {files.moveItem("/app/Library/a/new", "/app/Library/file"), none},
      {files.moveItem("/app/Library", "/app/Elsewhere"), none},
  };
  for (const auto& row : rows)
    EXPECT_EQ(row.first.value(), static_cast<int>(row.second)) << "row " << &row - rows;
  EXPECT_EQ(files.contents("/app/Elsewhere/file"), "1");
  EXPECT_TRUE(files.fileExistsAtPath("/app/Elsewhere/a").isDirectory);
  EXPECT_FALSE(files.fileExistsAtPath("/app/Library/a").exists);
  EXPECT_FALSE(files.fileExistsAtPath("/app/Elsewhere/file").isDirectory);
  files.removeTree("/");
  files.setContents("/new/file", "");
  EXPECT_EQ(files.contentsOfDirectory("/").names, std::vector<std::string>{"new"});
}

TEST(MemoryFileManager, LocksBlockOtherThreadsAndMayOutliveTheFiles) {
  auto files = std::make_unique<MemoryFileManager>();
  files->setContents("/app/file", "");
  auto held = files->lockForPath("/app/file").lock;
  EXPECT_TRUE(files->lockForPath("/app/file").isHeldByAnother());  // immediately on the holder's thread
  EXPECT_NE(files->lockForPath("/app/other").lock, nullptr);
  EXPECT_EQ(files->lockForPath("/app/none/file").error, std::errc::no_such_file_or_directory);
  std::promise<void> asking;
  files->setHook([&](FileOperation, const std::string&) { asking.set_value(); });
  auto other = std::async(std::launch::async, [&] { return files->lockForPath("/app/file").lock; });
  asking.get_future().wait();
  held.reset();
  const auto theirs = other.get();
  EXPECT_NE(theirs, nullptr);
  files.reset();
}

TEST(MemoryUserDefaults, SynchronizeMergesWithOtherProcesses) {
  MemoryUserDefaults defaults;
  defaults.setObject("mine", "a");
  defaults.setSynchronized("theirs", "b");
  for (const bool isFailing : {true, false}) {
    EXPECT_TRUE(defaults.objectForKey("b").isNil());
    EXPECT_TRUE(defaults.synchronized().objectForKey("a").isNil());
    EXPECT_EQ(defaults.objectForKey("a"), base::Value("mine"));
    defaults.setFailing(isFailing);
    EXPECT_EQ(defaults.synchronize(), !isFailing);
  }
  EXPECT_EQ(defaults.synchronized(), (base::Dictionary{{"a", "mine"}, {"b", "theirs"}}));
  EXPECT_EQ(defaults.objectForKey("b"), base::Value("theirs"));
  defaults.setSynchronized("theirs", "a");  // already synchronized, so no longer a pending change
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_EQ(defaults.objectForKey("a"), base::Value("theirs"));
  EXPECT_THROW(defaults.setObject(base::Array{base::Value::null()}, "a"), base::Exception);
}

TEST(ScriptedNetwork, FailsLikeARealSession) {
  const auto platform = TestingPlatform::install();
  const auto session = platform->makeUrlSession({.maximumBodyBytes = 4, .httpsOnly = true});
  std::vector<std::string> notes;
  platform->testNetwork().setHandler([](const UrlRequest& request) {
    if (request.URL()->path() == "/fault") throw std::runtime_error("fault");
    return ScriptedNetwork::reply(200, request.URL()->path());
  });
  for (const char* url : {"https://h.example/abc", "https://h.example/abcd", "http://h.example/a", "",
                          "https://h.example/fault"}) {
    session->dataTaskWithRequest(requestTo(url), [&notes](const platform::UrlTaskResult& result) {
      notes.push_back(result.error ? std::to_string(result.error->code) : std::string(result.data->view()));
    });
  }
  EXPECT_TRUE(notes.empty());
  platform->runUntilIdle();
  EXPECT_EQ(notes, (std::vector<std::string>{"/abc", "-1103", "-1002", "-1002", "-1"}));
}

}  // namespace
}  // namespace tidewell::testing

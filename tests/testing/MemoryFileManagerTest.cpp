#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::testing {
namespace {

const std::error_code kNoError;
const auto kDiskFull = std::make_error_code(std::errc::no_space_on_device);

TEST(MemoryFileManager, RefusesWhatADiskRefuses) {
  MemoryFileManager files;
  files.setContents("/app/Library/file", "old");
  const std::errc none{};
  const struct {
    const char* what;
    std::error_code found;
    std::errc expected;
  } cases[] = {
      {"a folder without its parent", files.createDirectoryAtPath("/app/Library/a/b"),
       std::errc::no_such_file_or_directory},
      {"a folder", files.createDirectoryAtPath("/app/Library/a/"), none},
      {"the folder again", files.createDirectoryAtPath("/app/Library/a"), std::errc::file_exists},
      {"a folder in a file", files.createDirectoryAtPath("/app/Library/file/a"), std::errc::not_a_directory},
      {"a file in no folder", files.replaceFile("/app/none/file", ""), std::errc::no_such_file_or_directory},
      {"a file without a name", files.replaceFile("", ""), std::errc::no_such_file_or_directory},
      {"a file with NUL", files.replaceFile(std::string_view("/app/\0", 6), ""), std::errc::invalid_argument},
      {"a file in place of a folder", files.replaceFile("/app/Library/a", ""), std::errc::is_a_directory},
      {"a new file", files.replaceFile("/app/Library//a/new", "1"), none},
      {"a folder read", files.contentsOfFile("/app/Library/a").error, std::errc::is_a_directory},
      {"nothing read", files.contentsOfFile("/app/no").error, std::errc::no_such_file_or_directory},
      {"nothing moved", files.moveItem("/app/no", "/app/yes"), std::errc::no_such_file_or_directory},
      {"a folder into itself", files.moveItem("/app/Library", "/app/Library/a/b"),
       std::errc::invalid_argument},
      {"a file over a file", files.moveItem("/app/Library/a/new", "/app/Library/file"), none},
      {"a folder moved", files.moveItem("/app/Library", "/app/Elsewhere"), none},
  };
  for (const auto& each : cases) EXPECT_EQ(each.found.value(), static_cast<int>(each.expected)) << each.what;
  EXPECT_EQ(files.contents("/app/Elsewhere/file"), "1");
  EXPECT_TRUE(files.fileExistsAtPath("/app/Elsewhere/a").isDirectory);
  EXPECT_FALSE(files.fileExistsAtPath("/app/Library/a").exists);
  EXPECT_FALSE(files.fileExistsAtPath("/app/Elsewhere/file").isDirectory);
}

TEST(MemoryFileManager, FailsTheCallsThatATestNames) {
  MemoryFileManager files;
  const std::string path = "/app/Library/file";
  EXPECT_EQ(files.replaceFile(path, "0"), kNoError);
  files.failCall(FileOperation::replace, 2, kDiskFull, 2);
  std::string outcomes;
  for (int call = 1; call <= 4; ++call) {
    outcomes += files.replaceFile(path, std::to_string(call)) == kDiskFull ? "x" : ".";
    outcomes += *files.contents(path);
  }
  EXPECT_EQ(outcomes, ".1x1x1.4");
  EXPECT_EQ(files.count(FileOperation::replace), 5u);
  EXPECT_EQ(files.count(FileOperation::read), 0u);

  files.failCall(FileOperation::read, 1, kDiskFull);
  files.failCall(FileOperation::exists, 1, kDiskFull);
  files.failCall(FileOperation::lock, 1, kDiskFull);
  EXPECT_EQ(files.contentsOfFile(path).error, kDiskFull);
  EXPECT_FALSE(files.fileExistsAtPath(path).exists);
  EXPECT_EQ(files.lockForPath(path).error, kDiskFull);
  EXPECT_TRUE(files.fileExistsAtPath(path).exists);
}

TEST(MemoryFileManager, ALockIsHeldAgainstEveryoneElse) {
  auto files = std::make_unique<MemoryFileManager>();
  auto held = files->lockForPath("/app/Library/file").lock;
  ASSERT_NE(held, nullptr);
  EXPECT_TRUE(files->lockForPath("/app/Library/file").isHeldByAnother());  // at once, on the holder's thread
  EXPECT_NE(files->lockForPath("/app/Library/other").lock, nullptr);
  EXPECT_EQ(files->lockForPath("/app/none/file").error, std::errc::no_such_file_or_directory);

  std::promise<void> asking;
  files->setHook([&](FileOperation, const std::string&) { asking.set_value(); });
  auto other =
      std::async(std::launch::async, [&] { return files->lockForPath("/app/Library/file").lock != nullptr; });
  asking.get_future().wait();
  held.reset();
  EXPECT_TRUE(other.get());
  files->setHook(nullptr);

  // A lock that is never released costs one wait: without that, these take forty seconds.
  held = files->lockForPath("/app/Library/file").lock;
  const auto start = std::chrono::steady_clock::now();
  std::async(std::launch::async, [&] {
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(files->lockForPath("/app/Library/file").isHeldByAnother());
  }).wait();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  held.reset();

  held = files->lockForPath("/app/Library/file").lock;
  EXPECT_NE(held, nullptr);
  files.reset();
  held.reset();  // a lock may outlive the files
}

}  // namespace
}  // namespace tidewell::testing

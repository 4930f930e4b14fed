#include <gtest/gtest.h>

#include <future>

#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::testing {
namespace {

TEST(MemoryFileManager, RefusesWhatADiskRefuses) {
  MemoryFileManager files;
  files.setContents("/app/Library/file", "old");
  const std::errc none{};
  const std::tuple<const char*, std::error_code, std::errc> rows[] = {
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
      {"a missing file read", files.contentsOfFile("/app/no").error, std::errc::no_such_file_or_directory},
      {"a missing file moved", files.moveItem("/app/no", "/app/yes"), std::errc::no_such_file_or_directory},
      {"a folder into itself", files.moveItem("/app/Library", "/app/Library/a/b"),
       std::errc::invalid_argument},
      {"a file over a file", files.moveItem("/app/Library/a/new", "/app/Library/file"), none},
      {"a folder moved", files.moveItem("/app/Library", "/app/Elsewhere"), none},
  };
  for (const auto& [what, found, expected] : rows)
    EXPECT_EQ(found.value(), static_cast<int>(expected)) << what;
  EXPECT_EQ(files.contents("/app/Elsewhere/file"), "1");
  EXPECT_TRUE(files.fileExistsAtPath("/app/Elsewhere/a").isDirectory);
  EXPECT_FALSE(files.fileExistsAtPath("/app/Library/a").exists);
  EXPECT_FALSE(files.fileExistsAtPath("/app/Elsewhere/file").isDirectory);
}

TEST(MemoryFileManager, AThreadWaitsForTheLockOfAnotherWhichMayOutliveTheFiles) {
  auto files = std::make_unique<MemoryFileManager>();
  files->setContents("/app/file", "");
  auto held = files->lockForPath("/app/file").lock;
  EXPECT_TRUE(files->lockForPath("/app/file").isHeldByAnother());  // at once, on the holder's thread
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

}  // namespace
}  // namespace tidewell::testing

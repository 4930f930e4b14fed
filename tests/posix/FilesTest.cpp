// SPDX-License-Identifier: Apache-2.0
#include <sys/file.h>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

using platform::FileManager;

class FilesTest : public PosixTest {
 protected:
  PosixPlatform platform{options()};
  FileManager& files = platform.fileManager();
};

TEST_F(FilesTest, FilesAndFoldersAreCreatedPrivateUnderAnyUmask) {
  const mode_t before = umask(0177);
  const auto library = files.pathForDirectory(platform::SearchPathDirectory::library);
  ASSERT_EQ(library, container + "/Library");
  const std::string sub = *library + "/Sub";
  EXPECT_FALSE(files.createDirectoryAtPath(sub));
  umask(0400);
  EXPECT_FALSE(files.replaceFile(sub + "/file", "text"));
  umask(before);
  for (const std::string& each : {data, container, *library, sub}) EXPECT_EQ(modeOf(each), 0700u) << each;
  EXPECT_EQ(modeOf(sub + "/file"), 0600u);
  EXPECT_EQ(files.createDirectoryAtPath(sub), std::errc::file_exists);
  EXPECT_EQ(files.createDirectoryAtPath(sub + "/a/b"), std::errc::no_such_file_or_directory);
}

TEST_F(FilesTest, FilesThatAreNotRegularFailWithoutBlocking) {
  const std::string fifo = folder + "/fifo", link = folder + "/link", huge = folder + "/huge";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  ASSERT_EQ(symlink(fifo.c_str(), link.c_str()), 0);
  writeFile(huge, "");
  std::filesystem::resize_file(huge, FileManager::kMaximumFileBytes + 1);
  const std::pair<std::string, std::errc> cases[] = {
      {fifo, std::errc::operation_not_supported},
      {link, std::errc::too_many_symbolic_link_levels},
      {"/dev/zero", std::errc::operation_not_supported},
      {huge, std::errc::file_too_large},
      {"relative", std::errc::invalid_argument},
      {folder + std::string("/\0x", 3), std::errc::invalid_argument}};
  for (const auto& [path, error] : cases) {
    EXPECT_EQ(files.contentsOfFile(path).error, error) << path;
    EXPECT_EQ(!files.replaceFile(path, "text"), path == huge) << path;
  }
  EXPECT_TRUE(std::filesystem::is_fifo(fifo));
  EXPECT_EQ(files.lockForPath("relative").error, std::errc::invalid_argument);
}

TEST_F(FilesTest, TemporaryFilesOfKilledProcessesAreRemoved) {
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  waitpid(gone, nullptr, 0);
  const auto beside = [&](pid_t process) { return folder + "/.tdw-" + std::to_string(process) + "-3.tmp"; };
  const std::pair<std::string, bool> cases[] = {
      {beside(gone), false},
      {beside(getpid()), false},
      {beside(1), false},  // older than any write can take
      {beside(getppid()), true},
      {folder + "/.tdw-x.tmp", true}};  // of a running process, and not the library's
  for (const auto& [path, isKept] : cases) writeFile(path, "half");
  const timespec old[2] = {{1000, 0}, {1000, 0}};
  utimensat(AT_FDCWD, beside(1).c_str(), old, 0);
  EXPECT_FALSE(files.replaceFile(folder + "/file", "text"));
  for (const auto& [path, isKept] : cases) EXPECT_EQ(std::filesystem::exists(path), isKept) << path;
}

TEST_F(FilesTest, AForkedChildNeitherHoldsNorReleasesALockOfItsParent) {
  const std::string path = folder + "/file";
  auto lock = files.lockForPath(path).lock;
  ASSERT_NE(lock, nullptr);
  const pid_t child = fork();
  if (child == 0) {
    lock.reset();
    for (;;) pause();
  }
  // Bypasses the fork handlers, so it keeps its copy of the lock's descriptor.
  const pid_t unaware = _Fork();
  while (unaware == 0) pause();
  waitUntilAsleep(child);
  const int other = open((path + ".lock").c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0) << "the parent lost its lock";
  lock.reset();
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0) << "a child kept the lock";
  close(other);
  for (const pid_t each : {child, unaware}) endChild(each);
}

}  // namespace
}  // namespace tidewell::posix

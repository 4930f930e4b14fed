#include <sys/file.h>

#include <chrono>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

using platform::FileManager;
using platform::SearchPathDirectory;

class FilesTest : public PosixTest {
 protected:
  PosixPlatform platform{options()};
  FileManager& files = platform.fileManager();
};

TEST_F(FilesTest, FoldersAndFilesAreTheUsersOnlyWhateverTheHostsMask) {
  const mode_t before = umask(0177);
  const auto library = files.pathForDirectory(SearchPathDirectory::library);
  ASSERT_EQ(library, folder + "/data/org.example.shop/Library");
  const std::string sub = *library + "/Sub";
  EXPECT_FALSE(files.createDirectoryAtPath(sub));
  umask(0);
  EXPECT_FALSE(files.replaceFile(sub + "/file", "text"));
  umask(before);
  for (const std::string& each : {folder + "/data", folder + "/data/org.example.shop", *library, sub}) {
    EXPECT_EQ(modeOf(each), 0700u) << each;
  }
  EXPECT_EQ(modeOf(sub + "/file"), 0600u);
  EXPECT_EQ(files.createDirectoryAtPath(sub), std::errc::file_exists);
  EXPECT_EQ(files.createDirectoryAtPath(sub + "/a/b"), std::errc::no_such_file_or_directory);
}

TEST_F(FilesTest, AnythingButARegularFileIsAnErrorAndNeverWaitedFor) {
  const std::string fifo = folder + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  ASSERT_EQ(symlink(fifo.c_str(), (folder + "/link").c_str()), 0);
  std::ofstream(folder + "/huge");
  std::filesystem::resize_file(folder + "/huge", FileManager::kMaximumFileBytes + 1);
  const std::pair<std::string, std::errc> cases[] = {
      {fifo, std::errc::operation_not_supported},
      {folder + "/link", std::errc::too_many_symbolic_link_levels},
      {"/dev/zero", std::errc::operation_not_supported},
      {folder, std::errc::is_a_directory},
      {folder + "/none", std::errc::no_such_file_or_directory},
      {folder + "/huge", std::errc::file_too_large},
      {"relative", std::errc::invalid_argument},
      {folder + std::string("/\0x", 3), std::errc::invalid_argument}};
  for (const auto& [path, error] : cases) {
    const auto read = files.contentsOfFile(path);
    EXPECT_EQ(read.error, error) << path;
    EXPECT_TRUE(read.contents.empty());
  }
  for (const std::string& path :
       {fifo, folder + "/working", std::string("relative"), folder + "/none/file"}) {
    EXPECT_TRUE(files.replaceFile(path, "text")) << path;
  }
  struct stat record {};
  stat(fifo.c_str(), &record);
  EXPECT_TRUE(S_ISFIFO(record.st_mode));
  EXPECT_EQ(files.lockForPath("relative").error, std::errc::invalid_argument);
}

TEST_F(FilesTest, WhatAKilledProcessLeftIsRemovedAndWhatALivingOneWritesIsNot) {
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  waitpid(gone, nullptr, 0);
  const auto beside = [&](const std::string& process) { return folder + "/.tdw-" + process + "-3.tmp"; };
  const std::string ofLiving = beside(std::to_string(getppid()));
  for (const std::string& path : {beside(std::to_string(gone)), beside(std::to_string(getpid())), beside("1"),
                                  ofLiving, folder + "/.tdw-x.tmp"}) {
    writeFile(path, "half");
  }
  const timespec old[2] = {{1000, 0}, {1000, 0}};
  utimensat(AT_FDCWD, beside("1").c_str(), old, 0);
  EXPECT_FALSE(files.replaceFile(folder + "/file", "text"));
  EXPECT_FALSE(std::filesystem::exists(beside(std::to_string(gone))));
  EXPECT_FALSE(std::filesystem::exists(beside(std::to_string(getpid()))));
  EXPECT_FALSE(std::filesystem::exists(beside("1"))) << "older than any write takes";
  EXPECT_TRUE(std::filesystem::exists(ofLiving));
  EXPECT_TRUE(std::filesystem::exists(folder + "/.tdw-x.tmp")) << "not of this library";
}

TEST_F(FilesTest, ALockKeepsOtherProcessesOutForAsLongAsItsHolderLives) {
  const std::string path = folder + "/file";
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    const auto lock = files.lockForPath(path).lock;
    static_cast<void>(write(ready[1], lock ? "y" : "n", 1));
    for (;;) pause();
  }
  char answer = 0;
  ASSERT_EQ(read(ready[0], &answer, 1), 1);
  ASSERT_EQ(answer, 'y');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(files.lockForPath(path).isHeldByAnother());
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited.count(), FileManager::kMaximumLockWaitSeconds);
  EXPECT_LT(waited.count(), FileManager::kMaximumLockWaitSeconds + 10);
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  EXPECT_NE(files.lockForPath(path).lock, nullptr);
}

TEST_F(FilesTest, AForkedChildHoldsNoLockOfItsParentAndReleasesNone) {
  const std::string path = folder + "/file";
  auto lock = files.lockForPath(path).lock;
  ASSERT_NE(lock, nullptr);
  int release[2];
  ASSERT_EQ(pipe(release), 0);
  const pid_t child = fork();
  if (child == 0) {
    lock.reset();
    char byte = 0;
    close(release[1]);
    static_cast<void>(read(release[0], &byte, 1));
    _exit(0);
  }
  const int other = open((path + ".lock").c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), -1) << "the parent's lock is gone";
  lock.reset();
  EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0) << "the child kept it";
  close(other);
  close(release[1]);
  waitpid(child, nullptr, 0);
}

TEST_F(FilesTest, NoDescriptorSurvivesAnExec) {
  const auto lock = files.lockForPath(folder + "/file");
  std::size_t seen = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int number = std::stoi(entry.path().filename());
    std::error_code ignored;
    const std::string target = std::filesystem::read_symlink(entry.path(), ignored);
    if (target.find(folder) == std::string::npos && target.find("eventfd") == std::string::npos) continue;
    ++seen;
    EXPECT_NE(fcntl(number, F_GETFD) & FD_CLOEXEC, 0) << target;
  }
  EXPECT_EQ(seen, 2u) << "the lock and the main queue's descriptor";
}

}  // namespace
}  // namespace tidewell::posix

#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <new>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "RefuseSystemCall.h"
#include "tidewell/posix/PosixPlatform.h"

namespace tidewell::posix {

inline void writeFile(const std::string& path, std::string_view bytes) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline mode_t modeOf(const std::string& path) {
  struct stat record {};
  return stat(path.c_str(), &record) == 0 ? record.st_mode & 07777 : 0;
}

/// Whether a regular expression describes the whole of a text.
inline bool matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

/// Whether AddressSanitizer is in the process. Its locks are not safe over a fork beside running threads, and
/// what comes with it wants descriptors of its own: the tests that would meet either say so.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
inline constexpr bool kAddressSanitizer = false;
#endif

/// Set in the child of a fork: what its parent's threads held looks like a leak there.
inline bool isForkedChild = false;

/// Runs a function in a process of its own: what it returned, or minus the signal that ended it.
inline int inChild(const std::function<int()>& function) {
  const pid_t child = fork();
  if (child == 0) {
    isForkedChild = true;
    alarm(60);
    _exit(function());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// The exit status of a child that could not set up what it was to test.
inline constexpr int kSkipped = 77;
/// The exit status of a child for whether all went well. EXPECT_… in a child prints to its standard error.
inline int exitStatus() { return testing::Test::HasFailure() ? 1 : 0; }

/// A count that a process shares with its children.
struct CountOverForks {
  std::atomic<int>& count = *new (mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                       MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0);
  CountOverForks() = default;
  ~CountOverForks() { munmap(&count, sizeof count); }
  CountOverForks(const CountOverForks&) = delete;
  CountOverForks& operator=(const CountOverForks&) = delete;
};

/// Ends a child that had time to do what it should not.
inline void endChild(pid_t child) {
  ASSERT_GT(child, 0);
  usleep(100'000);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

/// A folder of its own for each test, an empty working folder that must stay empty, and the sentences that
/// the platform reported.
class PosixTest : public testing::Test {
 protected:
  PosixTest() {
    umask(022);  // folders that their group may write are not used
    char name[] = "/tmp/tidewell-posix-XXXXXX";
    folder = mkdtemp(name);
    std::filesystem::create_directory(folder + "/working");
    std::filesystem::current_path(folder + "/working");
    platform::setReporter([](std::string_view text) {
      const std::lock_guard lock(reportsMutex);
      reports.emplace_back(text);
    });
  }
  ~PosixTest() override {
    platform::setReporter(nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(folder + "/working")) << "a file was left in the working folder";
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }

  [[nodiscard]] Options options() const {
    Options result;
    result.bundleIdentifier = "org.example.shop";
    result.version = "2.5";
    result.dataHome = folder + "/data";
    result.mainLoop = MainLoop::host;
    result.proxy = "-";
    return result;
  }
  [[nodiscard]] std::string domainPath() const {
    return folder + "/data/org.example.shop/Library/Preferences/org.example.shop.plist";
  }
  [[nodiscard]] static std::size_t reportCount() {
    const std::lock_guard lock(reportsMutex);
    return reports.size();
  }

  std::string folder;

 public:
  inline static std::mutex reportsMutex;
  inline static std::vector<std::string> reports;
};

}  // namespace tidewell::posix

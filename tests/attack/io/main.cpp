// io_torture [EVERY]: lives of an application in which the n-th call on its files fails, once or from then
// on, or is the last before a power loss that takes what was not flushed. EVERY takes each EVERY-th n only.
//
// This program defines the C library's functions for files; the libraries in it find these first.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

namespace {

namespace fs = std::filesystem;
using namespace tidewell;

enum class Fault { none, once, fromThenOn, powerLoss };
constexpr const char* kNames[] = {"none", "once", "from then on", "power loss"};

/// Shared by this process and the lives it forks.
struct Shared {
  Fault fault;
  int failing;                                   ///< the number of the call that fails
  std::atomic<int> calls;                        ///< on files, so far
  bool pushOptedOut, tokenKept, memoryWasRight;  ///< what the life was told
};
Shared* shared = nullptr;
std::string root;
bool isTortured = false;

/// The files that the life wrote: each as a descriptor, and up to where it was flushed.
std::mutex writing;  ///< guards `written`, and is held for good once the power is gone
std::vector<std::pair<int, off_t>> written;

/// Whether this call fails.
bool fails() {
  const int number = ++shared->calls;
  if (shared->fault == Fault::powerLoss && number == shared->failing) {
    int status = 0;
    writing.lock();
    for (const auto& [file, flushed] : written) status |= ftruncate(file, flushed);
    _exit(status);
  }
  return (shared->fault == Fault::once && number == shared->failing) ||
         (shared->fault == Fault::fromThenOn && number >= shared->failing);
}

bool isBelowRoot(const char* path) {
  return isTortured && std::strncmp(path, root.c_str(), root.size()) == 0;
}

/// Whether a descriptor is a file or folder below the root.
bool isBelowRoot(int descriptor) {
  if (!isTortured) return false;
  char path[4096] = "";
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  return readlink(link.c_str(), path, sizeof path - 1) > 0 && isBelowRoot(path);
}

int failed(int error) {
  errno = error;
  return -1;
}

}  // namespace

#define SHOWN extern "C" __attribute__((visibility("default")))

SHOWN int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);  // of no meaning where there is none
  va_end(arguments);
  if ((isBelowRoot(path) || (folder >= 0 && isBelowRoot(folder))) && fails()) return failed(EMFILE);
  return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}
SHOWN int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return openat(AT_FDCWD, path, flags, mode);
}
SHOWN ssize_t write(int descriptor, const void* bytes, size_t count) {
  if (isBelowRoot(descriptor)) {
    if (fails()) return failed(ENOSPC);
    const std::lock_guard lock(writing);
    written.emplace_back(dup(descriptor), lseek(descriptor, 0, SEEK_CUR));
    return syscall(SYS_write, descriptor, bytes, count);
  }
  return syscall(SYS_write, descriptor, bytes, count);
}
SHOWN int fsync(int descriptor) {
  if (isBelowRoot(descriptor)) {
    if (fails()) return failed(EIO);
    const std::lock_guard lock(writing);
    struct stat mine {};
    struct stat each {};
    fstat(descriptor, &mine);
    for (auto& [file, flushed] : written) {
      if (fstat(file, &each) == 0 && each.st_ino == mine.st_ino) flushed = each.st_size;
    }
  }
  return static_cast<int>(syscall(SYS_fsync, descriptor));
}
SHOWN int renameat(int from, const char* path, int to, const char* toPath) noexcept {
  if (isBelowRoot(from) && fails()) return failed(EIO);
  return static_cast<int>(syscall(SYS_renameat2, from, path, to, toPath, 0));
}
SHOWN int rename(const char* path, const char* toPath) noexcept {
  if (isBelowRoot(path) && fails()) return failed(EIO);
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, path, AT_FDCWD, toPath, 0));
}
SHOWN int mkdir(const char* path, mode_t mode) noexcept {
  if (isBelowRoot(path) && fails()) return failed(ENOSPC);
  return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}
SHOWN int flock(int descriptor, int operation) noexcept {
  if ((operation & LOCK_EX) != 0 && isBelowRoot(descriptor) && fails()) return failed(ENOLCK);
  return static_cast<int>(syscall(SYS_flock, descriptor, operation));
}

namespace {

/// The lines of the log, which come from any thread.
class Lines {
 public:
  void add(std::string_view line) {
    const std::lock_guard lock(mutex_);
    text_.append(line) += '\n';
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    text_.clear();
  }
  [[nodiscard]] bool mention(std::string_view words) {
    const std::lock_guard lock(mutex_);
    return text_.find(words) != std::string::npos;
  }

 private:
  std::mutex mutex_;
  std::string text_;
};
Lines said;

void install() {
  posix::Options options;
  options.bundleIdentifier = "org.example.torture";
  options.version = "1";
  options.dataHome = root;
  options.proxy = "127.0.0.1:1";             // no one listens there
  options.mainLoop = posix::MainLoop::host;  // nothing runs on the main queue: a start asks no server
  options.consoleSink = [](std::string_view line) { said.add(line); };
  posix::install(options);
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
}

platform::UserDefaults& defaults() { return platform::Platform::current().standardUserDefaults(); }
TWConfigManager& config() { return TWConfigManager::sharedInstance(); }

/// A start, an opt-out and a user default. What the life is told of their success is left in `shared`.
void live() {
  install();
  isTortured = true;
  TidewellCore::sharedInstance().initializeWithAppID("A");
  said.clear();
  config().setUserPushNotificationOptedOut(true);
  shared->pushOptedOut = !said.mention("The configuration");
  defaults().setObject(std::string(6000, 't'), "token");
  shared->tokenKept = defaults().synchronize();
  shared->memoryWasRight = !config().isUserPushEnabled() && defaults().objectForKey("token").length() == 6000;
}

int wrong(const char* what) {
  std::printf("not so: %s\n", what);
  return 1;
}

/// The next life: what it finds, and what it leaves after a write.
int check() {
  const fs::path container = fs::path(root) / "org.example.torture/Library";
  for (const char* each : {"Tidewell/TdwConfig.corrupt", "Preferences/org.example.torture.plist.corrupt"}) {
    if (fs::exists(container / each)) return wrong("a file of the life before is whole");
  }
  install();
  const bool push = !config().isUserPushEnabled();
  if (shared->pushOptedOut && !push) return wrong("an opt-out that was written is found");
  if (config().isDataTrackingEnabled()) return wrong("the opt-out of an earlier life is found");
  const base::Value token = defaults().objectForKey("token");
  if (shared->tokenKept && token.isNil()) return wrong("a user default that was written is found");
  if (!token.isNil() && token.length() != 6000) return wrong("a user default is whole");
  if (defaults().objectForKey("earlier") != base::Value("kept"))
    return wrong("an earlier user default is found");
  config().setUserInAppNotificationOptedOut(true);
  defaults().setObject(1, "next");
  if (!defaults().synchronize()) return wrong("the next life can write");
  for (const auto& each : fs::recursive_directory_iterator(container)) {
    const std::string name = each.path().filename();
    if (name.ends_with(".tmp") || name.find(".change-") != std::string::npos)
      return wrong((name + " is gone after the next write").c_str());
  }
  return !said.mention("corrupt") ? 0 : wrong("the archive of the life before is whole");
}

/// Runs a function in a process of its own: its status, minus the signal that ended it.
template <class Function>
int inChild(Function function) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    const int status = function();
    std::fflush(stdout);
    _exit(status);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

int main(int argc, char** argv) {
  const int every = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1;
  char name[] = "/tmp/tidewell-torture-XXXXXX";
  const std::string folder = mkdtemp(name);
  shared = static_cast<Shared*>(
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  root = folder + "/seed";
  inChild([] {
    install();
    config().setDataTrackingOptedOut(true);
    defaults().setObject("kept", "earlier");
    return defaults().synchronize() ? 0 : 1;
  });
  root = folder + "/data";
  int rounds = 0, faults = 0;
  for (const Fault fault : {Fault::once, Fault::fromThenOn, Fault::powerLoss}) {
    for (int n = 1;; n += every, ++rounds) {
      fs::remove_all(root);
      fs::copy(folder + "/seed", root, fs::copy_options::recursive);
      new (shared) Shared{fault, n, {0}, false, false, false};
      const int status = inChild([] { return live(), 0; });
      const int next = inChild(check);
      if (status != 0 || next != 0 || (fault != Fault::powerLoss && !shared->memoryWasRight)) {
        ++faults;
        std::printf("call %d, %s: the life ended with %d, the next one with %d%s\n", n,
                    kNames[static_cast<int>(fault)], status, next,
                    shared->memoryWasRight ? "" : ", memory was wrong");
      }
      if (shared->calls < n) break;
    }
  }
  fs::remove_all(folder);
  std::printf("%d lives, %d faults\n", rounds, faults);
  return faults == 0 ? 0 : 1;
}

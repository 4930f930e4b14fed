// io_torture [EVERY]: lives of an application in which the n-th call on its files fails, once or from then
// on, or is the last before a power loss that takes what was not flushed. Takes every EVERY-th n only.
//
// This program defines the C library's functions for files; the libraries in it find these first.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <new>

#include "attack/Attack.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/TidewellCore.h"

namespace {

namespace fs = std::filesystem;
using namespace tidewell;
using namespace tidewell::attack;

enum class Fault { once, fromThenOn, powerLoss };
constexpr const char* kNames[] = {"once", "from then on", "power loss"};

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

/// Whether a path, or the file or folder of a descriptor, is below the root.
bool isBelowRoot(const char* path) {
  return isTortured && std::strncmp(path, root.c_str(), root.size()) == 0;
}
bool isBelowRoot(int descriptor) {
  if (!isTortured) return false;
  char path[4096] = "";
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  return readlink(link.c_str(), path, sizeof path - 1) > 0 && isBelowRoot(path);
}

/// Whether a call on a file fails, which sets `errno`. At a power loss, cuts off what was not flushed.
template <class File>
bool fails(File file, int error) {
  if (!isBelowRoot(file)) return false;
  const int number = ++shared->calls;
  if (shared->fault == Fault::powerLoss && number == shared->failing) {
    int status = 0;
    writing.lock();
    for (const auto& [each, flushed] : written) status |= ftruncate(each, flushed);
    _exit(status);
  }
  const bool isDue =
      shared->fault == Fault::fromThenOn ? number >= shared->failing : number == shared->failing;
  if (isDue) errno = error;
  return isDue;
}

int call(long number, auto... arguments) { return static_cast<int>(syscall(number, arguments...)); }

}  // namespace

#define SHOWN extern "C" __attribute__((visibility("default")))

SHOWN int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);  // of no meaning where there is none
  va_end(arguments);
  if (path[0] == '/' ? fails(path, EMFILE) : fails(folder, EMFILE)) return -1;
  return call(SYS_openat, folder, path, flags, mode);
}
SHOWN int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return openat(AT_FDCWD, path, flags, mode);
}
SHOWN ssize_t write(int file, const void* bytes, size_t count) {
  if (fails(file, ENOSPC)) return -1;
  if (!isBelowRoot(file)) return syscall(SYS_write, file, bytes, count);
  const std::lock_guard guard(writing);
  written.emplace_back(dup(file), lseek(file, 0, SEEK_CUR));
  return syscall(SYS_write, file, bytes, count);
}
SHOWN int fsync(int file) {
  if (fails(file, EIO)) return -1;
  const std::lock_guard lock(writing);
  struct stat mine {};
  struct stat each {};
  fstat(file, &mine);
  for (auto& [other, flushed] : written) {
    if (fstat(other, &each) == 0 && each.st_ino == mine.st_ino) flushed = each.st_size;
  }
  return call(SYS_fsync, file);
}
SHOWN int renameat(int from, const char* path, int to, const char* toPath) noexcept {
  return fails(from, EIO) ? -1 : call(SYS_renameat2, from, path, to, toPath, 0);
}
SHOWN int rename(const char* path, const char* toPath) noexcept {
  return fails(path, EIO) ? -1 : call(SYS_renameat2, AT_FDCWD, path, AT_FDCWD, toPath, 0);
}
SHOWN int mkdir(const char* path, mode_t mode) noexcept {
  return fails(path, ENOSPC) ? -1 : call(SYS_mkdirat, AT_FDCWD, path, mode);
}
SHOWN int flock(int file, int operation) noexcept {
  const bool isTaking = (operation & LOCK_UN) == 0;
  return isTaking && fails(file, ENOLCK) ? -1 : call(SYS_flock, file, operation);
}
SHOWN int unlinkat(int folder, const char* path, int flags) noexcept {
  return fails(folder, EROFS) ? -1 : call(SYS_unlinkat, folder, path, flags);
}
SHOWN int fchmod(int file, mode_t mode) noexcept {
  return fails(file, EIO) ? -1 : call(SYS_fchmod, file, mode);
}
SHOWN DIR* fdopendir(int folder) {
  static const auto list = reinterpret_cast<DIR* (*)(int)>(dlsym(RTLD_NEXT, "fdopendir"));
  return fails(folder, ENOMEM) ? nullptr : list(folder);
}

namespace {

std::mutex saying;  ///< guards `said`
std::string said;   ///< the lines of the log

/// Whether the log has these words since the last call.
bool saidOf(std::string_view words) {
  const std::lock_guard lock(saying);
  return std::exchange(said, {}).find(words) != std::string::npos;
}

void install() {
  posix::Options options = optionsFor(root);
  options.mainLoop = posix::MainLoop::host;  // nothing runs on the main queue: a start asks no server
  options.consoleSink = [](std::string_view line) {
    const std::lock_guard lock(saying);
    said.append(line) += '\n';
  };
  posix::install(options);
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
}

platform::UserDefaults& defaults() { return platform::Platform::current().standardUserDefaults(); }
TWConfigManager& config() { return TWConfigManager::sharedInstance(); }

/// A start, an opt-out and a user default. What the life is told of their success is left in `shared`.
int live() {
  install();
  isTortured = true;
  TidewellCore::sharedInstance().initializeWithAppID("A");
  saidOf("");
  config().setUserPushNotificationOptedOut(true);
  shared->pushOptedOut = !saidOf("The configuration");
  TWKeychain::save("other", "secret");
  defaults().setObject(std::string(6000, 't'), "token");
  shared->tokenKept = defaults().synchronize();
  shared->memoryWasRight = !config().isUserPushEnabled() && defaults().objectForKey("token").length() == 6000;
  return 0;
}

int wrong(const char* what) {
  std::printf("not so: %s\n", what);
  return 1;
}

/// The next life: what it finds, and what it leaves after a write.
int check() {
  const fs::path container = fs::path(root) / "org.example.attack/Library";
  for (const auto& each : fs::recursive_directory_iterator(container)) {
    if (each.path().extension() == ".corrupt") return wrong("a file of the life before is whole");
  }
  install();
  if (shared->pushOptedOut && config().isUserPushEnabled())
    return wrong("an opt-out that was written is found");
  if (config().isDataTrackingEnabled()) return wrong("the opt-out of an earlier life is found");
  const base::Value token = defaults().objectForKey("token");
  if (token.isNil() ? shared->tokenKept : token.length() != 6000)
    return wrong("a user default that was written is found whole");
  if (defaults().objectForKey("earlier") != base::Value("kept"))
    return wrong("an earlier user default is found");
  if (TWKeychain::load("io") != base::Value("secret")) return wrong("an earlier secret is found");
  config().setUserInAppNotificationOptedOut(true);
  defaults().setObject(1, "next");
  if (!defaults().synchronize()) return wrong("the next life can write");
  for (const auto& each : fs::recursive_directory_iterator(container)) {
    const std::string name = each.path().filename();
    if (name.ends_with(".tmp") || name.find(".change-") != std::string::npos)
      return wrong((name + " is gone after the next write").c_str());
  }
  return !saidOf("corrupt") ? 0 : wrong("the archive of the life before is whole");
}

}  // namespace

int main(int argc, char** argv) {
  const int every = argc > 1 ? std::atoi(argv[1]) : 1;
  const TemporaryFolder folder;
  shared = static_cast<Shared*>(
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  root = folder.path + "/seed";
  waitFor(inChild(60, [] {
    install();
    config().setDataTrackingOptedOut(true);
    defaults().setObject("kept", "earlier");
    TWKeychain::save("io", "secret");
    return defaults().synchronize() ? 0 : 1;
  }));
  root = folder.path + "/data";
  std::size_t lives = 0, faults = 0;
  for (const Fault fault : {Fault::once, Fault::fromThenOn, Fault::powerLoss}) {
    for (int n = 1;; n += every, ++lives) {
      fs::remove_all(root);
      fs::copy(folder.path + "/seed", root, fs::copy_options::recursive);
      new (shared) Shared{fault, n, {0}, false, false, false};
      const int status = waitFor(inChild(60, live));
      const int next = waitFor(inChild(60, check));
      if (status != 0 || next != 0 || (fault != Fault::powerLoss && !shared->memoryWasRight)) {
        ++faults;
        std::printf("call %d, %s: the life ended with %d, the next one with %d%s\n", n,
                    kNames[static_cast<int>(fault)], status, next,
                    shared->memoryWasRight ? "" : ", memory was wrong");
      }
      if (shared->calls < n) break;
    }
  }
  return conclude(lives, "lives", faults);
}

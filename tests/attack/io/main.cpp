// SPDX-License-Identifier: Apache-2.0
// io_torture [EVERY]: runs an application in which the n-th file operation fails, once or permanently, or is
// the last before a power loss, which discards unflushed data. Tries every EVERY-th n.
//
// This program defines the C library's file functions, which replace them for all libraries in the process.
#include <dirent.h>
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

enum class Fault { once, permanent, powerLoss };
constexpr const char* kNames[] = {"once", "permanently", "power loss"};

/// Shared with the forked processes.
struct Shared {
  Fault fault;
  int failing;                                   ///< the number of the call that fails
  std::atomic<int> calls;                        ///< the file operations so far
  bool pushOptedOut, tokenKept, memoryWasRight;  ///< the results reported by the library
};
Shared* shared = nullptr;
std::string root;
bool isInjecting = false;

/// The descriptors of all written files, each with its flushed length.
std::mutex writing;  ///< guards `written`; stays locked after the power loss
std::vector<std::pair<int, off_t>> written;

/// Whether the path, or the path of the descriptor, is below the root.
bool isBelowRoot(const char* path) {
  return isInjecting && std::strncmp(path, root.c_str(), root.size()) == 0;
}
bool isBelowRoot(int descriptor) {
  if (!isInjecting) return false;
  char path[4096] = "";
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  return readlink(link.c_str(), path, sizeof path - 1) > 0 && isBelowRoot(path);
}

/// Whether a file operation fails; sets `errno` if so. At the power loss, discards unflushed data and exits.
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
      shared->fault == Fault::permanent ? number >= shared->failing : number == shared->failing;
  if (isDue) errno = error;
  return isDue;
}

int call(long number, auto... arguments) { return static_cast<int>(syscall(number, arguments...)); }

}  // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);  // meaningless without O_CREAT
  va_end(arguments);
  if (path[0] == '/' ? fails(path, EMFILE) : fails(folder, EMFILE)) return -1;
  return call(SYS_openat, folder, path, flags, mode);
}
EXPORT int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return openat(AT_FDCWD, path, flags, mode);
}
EXPORT int __open_2(const char* path, int flags) { return open(path, flags); }  // with _FORTIFY_SOURCE
EXPORT ssize_t write(int file, const void* bytes, size_t count) {
  if (fails(file, ENOSPC)) return -1;
  if (!isBelowRoot(file)) return syscall(SYS_write, file, bytes, count);
  const std::lock_guard guard(writing);
  written.emplace_back(dup(file), lseek(file, 0, SEEK_CUR));
  return syscall(SYS_write, file, bytes, count);
}
EXPORT int fsync(int file) {
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
EXPORT int renameat(int from, const char* path, int to, const char* toPath) noexcept {
  return fails(from, EIO) ? -1 : call(SYS_renameat2, from, path, to, toPath, 0);
}
EXPORT int rename(const char* path, const char* toPath) noexcept {
  return fails(path, EIO) ? -1 : call(SYS_renameat2, AT_FDCWD, path, AT_FDCWD, toPath, 0);
}
EXPORT int mkdir(const char* path, mode_t mode) noexcept {
  return fails(path, ENOSPC) ? -1 : call(SYS_mkdirat, AT_FDCWD, path, mode);
}
EXPORT int flock(int file, int operation) noexcept {
  const bool isTaking = (operation & LOCK_UN) == 0;
  return isTaking && fails(file, ENOLCK) ? -1 : call(SYS_flock, file, operation);
}
EXPORT int unlinkat(int folder, const char* path, int flags) noexcept {
  return fails(folder, EROFS) ? -1 : call(SYS_unlinkat, folder, path, flags);
}
EXPORT int fchmod(int file, mode_t mode) noexcept {
  return fails(file, EIO) ? -1 : call(SYS_fchmod, file, mode);
}
EXPORT ssize_t getdents64(int folder, void* buffer, size_t bytes) noexcept {
  return fails(folder, ENOMEM) ? -1 : syscall(SYS_getdents64, folder, buffer, bytes);
}

namespace {

std::mutex logging;  ///< guards `logged`
std::string logged;  ///< the lines of the log

/// Whether the lines logged since the last call contain the text.
bool hasLogged(std::string_view words) {
  const std::lock_guard lock(logging);
  return std::exchange(logged, {}).find(words) != std::string::npos;
}

void install() {
  posix::Options options = optionsFor(root);
  options.setMainLoop(posix::MainLoop::host);  // the main queue never runs, so a start sends no request
  options.setConsoleSink([](std::string_view line) {
    const std::lock_guard lock(logging);
    logged.append(line) += '\n';
  });
  posix::install(options);
  TidewellCore::sharedInstance().debug(TWLogLevelDebug);
}

platform::UserDefaults& defaults() { return platform::Platform::current().standardUserDefaults(); }
TWConfigManager& config() { return TWConfigManager::sharedInstance(); }

/// Starts the SDK and stores an opt-out and a user default. Leaves the reported results in `shared`.
int run() {
  install();
  isInjecting = true;
  TidewellCore::sharedInstance().initializeWithAppID("A");
  hasLogged("");
  config().setUserPushNotificationOptedOut(true);
  shared->pushOptedOut = !hasLogged("The configuration");
  TWKeychain::save("other", "secret");
  defaults().setObject(std::string(6000, 't'), "token");
  shared->tokenKept = defaults().synchronize();
  shared->memoryWasRight = !config().isUserPushEnabled() && defaults().objectForKey("token").length() == 6000;
  return 0;
}

int wrong(const char* what) {
  std::printf("check failed: %s\n", what);
  return 1;
}

/// Checks in a later process what is on disk, and that it can write.
int check() {
  const fs::path container = fs::path(root) / "org.example.attack/Library";
  for (const auto& each : fs::recursive_directory_iterator(container)) {
    if (each.path().extension() == ".corrupt") return wrong("a file of the earlier process is intact");
  }
  install();
  if (shared->pushOptedOut && config().isUserPushEnabled()) return wrong("a stored opt-out is found");
  if (config().isDataTrackingEnabled()) return wrong("an earlier opt-out is found");
  const base::Value token = defaults().objectForKey("token");
  if (token.isNil() ? shared->tokenKept : token.length() != 6000)
    return wrong("a stored user default is found intact");
  if (defaults().objectForKey("earlier") != base::Value("kept"))
    return wrong("an earlier user default is found");
  if (TWKeychain::load("io") != base::Value("secret")) return wrong("an earlier secret is found");
  config().setUserInAppNotificationOptedOut(true);
  defaults().setObject(1, "next");
  if (!defaults().synchronize()) return wrong("the next process can write");
  for (const auto& each : fs::recursive_directory_iterator(container)) {
    const std::string name = each.path().filename();
    if (name.ends_with(".tmp") || name.find(".change-") != std::string::npos)
      return wrong((name + " is removed by the next write").c_str());
  }
  return !hasLogged("corrupt") ? 0 : wrong("the archive of the earlier process is intact");
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
  std::size_t runs = 0, faults = 0;
  for (const Fault fault : {Fault::once, Fault::permanent, Fault::powerLoss}) {
    for (int n = 1;; n += every, ++runs) {
      fs::remove_all(root);
      fs::copy(folder.path + "/seed", root, fs::copy_options::recursive);
      new (shared) Shared{fault, n, {0}, false, false, false};
      const int status = waitFor(inChild(60, run));
      const int next = waitFor(inChild(60, check));
      if (status != 0 || next != 0 || (fault != Fault::powerLoss && !shared->memoryWasRight)) {
        ++faults;
        std::printf("call %d, %s: exit status %d, next process %d%s\n", n, kNames[static_cast<int>(fault)],
                    status, next, shared->memoryWasRight ? "" : ", wrong answers before the exit");
      }
      if (shared->calls < n) break;
    }
  }
  return conclude(runs, "runs", faults);
}

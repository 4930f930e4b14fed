// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <set>
#include <thread>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/Descriptor.h"
#include "tidewell/posix/internal/FileFault.h"
#include "tidewell/posix/internal/Fork.h"

namespace tidewell::posix {
namespace {

/// Never follows a link and never blocks, whatever has that name.
constexpr int kOpenFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

class DescriptorLock final : public platform::FileLock, public ForkParticipant {
 public:
  explicit DescriptorLock(Descriptor file) : file_(std::move(file)) { join(); }
  ~DescriptorLock() override {
    leave();
    // The child of a fork may share the open file; closing alone would then leave it locked.
    if (file_) flock(file_.number(), LOCK_UN);
  }
  /// Closing the child's copy does not release the parent's lock.
  void afterForkInChild() noexcept override { file_.close(); }

 private:
  Descriptor file_;
};

/// The lock whose wait timed out in this process, until it is found free again.
class TimedOutWait {
 public:
  void begin(const std::string& name) {
    const base::MutexLock lock(mutex_);
    name_ = name;
    isSet_.store(true, std::memory_order_relaxed);
  }
  /// Called when the lock with this name was free.
  void end(const std::string& name) {
    if (!isSet_.load(std::memory_order_relaxed)) return;
    const base::MutexLock lock(mutex_);
    if (name_ != name) return;
    name_.clear();
    isSet_.store(false, std::memory_order_relaxed);
  }
  /// Whether to wait for a lock that another process holds now.
  [[nodiscard]] bool permitsWaitFor(const std::string& name) {
    const std::string missed = current();
    if (missed.empty()) return true;
    if (missed == name || !isFree(missed)) return false;
    end(missed);
    return true;
  }

 private:
  [[nodiscard]] std::string current() {
    const base::MutexLock lock(mutex_);
    return name_;
  }
  static bool isFree(const std::string& name) {
    const Descriptor file(retrying([&] { return open(name.c_str(), kOpenFlags); }));
    if (!file) return errno == ENOENT;
    if (flock(file.number(), LOCK_SH | LOCK_NB) != 0) return false;
    flock(file.number(), LOCK_UN);
    return true;
  }

  std::atomic<bool> isSet_{false};
  StateMutex mutex_;
  std::string name_ TIDEWELL_GUARDED_BY(mutex_);
};

TimedOutWait& timedOutWait() {
  static base::NeverDestroyed<TimedOutWait> instance;
  return *instance;
}

/// The paths for which a notice was given.
struct Noticed {
  StateMutex mutex;
  std::set<std::string> paths TIDEWELL_GUARDED_BY(mutex);
};
Noticed& noticed() {
  static base::NeverDestroyed<Noticed> instance;
  return *instance;
}

// Initialised while the library is loaded: the child of a fork might wait forever for a thread that was
// initialising one.
[[maybe_unused]] const TimedOutWait& timedOutWaitWhenLoaded = timedOutWait();
[[maybe_unused]] const Noticed& noticedWhenLoaded = noticed();

/// Retries until the time limit for locks. Returns 0 or an errno value.
int waitForLock(int descriptor) {
  using Clock = std::chrono::steady_clock;
  const auto end =
      Clock::now() + std::chrono::duration<double>(platform::FileManager::kMaximumLockWaitSeconds);
  auto pause = std::chrono::microseconds(100);
  while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return errno;
    if (Clock::now() >= end) return EWOULDBLOCK;
    // Blocking system calls have no time limit that works without signals. Pauses stay short, so that a
    // process that takes the lock repeatedly leaves a usable gap.
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(500));
  }
  return 0;
}

}  // namespace

platform::LockResult lockFile(const std::string& path) {
  const base::CancellationShield shield;
  if (const auto failure = checkPath(path)) return {nullptr, failure};
  const std::string name = path + ".lock";
  Descriptor file(retrying([&] { return open(name.c_str(), kOpenFlags | O_CREAT, 0600); }));
  if (!file) {
    const bool isNoFile = errno == ELOOP || errno == EISDIR || errno == ENXIO;
    return {nullptr, isNoFile ? FileFault::lockIsNoFile : lastError()};
  }
  struct stat record {};
  if (fstat(file.number(), &record) != 0) return {nullptr, lastError()};
  if (!S_ISREG(record.st_mode)) return {nullptr, FileFault::lockIsNoFile};

  int failure = retrying([&] { return flock(file.number(), LOCK_EX | LOCK_NB); }) == 0 ? 0 : errno;
  if (failure == EWOULDBLOCK && timedOutWait().permitsWaitFor(name)) {
    failure = waitForLock(file.number());
    if (failure == EWOULDBLOCK) timedOutWait().begin(name);
  }
  if (failure == EWOULDBLOCK) return {nullptr, FileFault::lockHeldByAnother};
  if (failure != 0) return {nullptr, std::error_code(failure, std::generic_category())};
  timedOutWait().end(name);
  return {std::make_unique<DescriptorLock>(std::move(file)), {}};
}

bool cannotBeLocked(std::error_code error) {
  // A sandbox that refuses the call returns EPERM.
  return error == FileFault::lockIsNoFile || error == std::errc::no_lock_available ||
         error == std::errc::operation_not_supported || error == std::errc::function_not_supported ||
         error == std::errc::operation_not_permitted;
}

std::string noticeOfMissingLock(const std::string& path, std::error_code error) {
  if (!cannotBeLocked(error)) return {};
  {
    const base::MutexLock lock(noticed().mutex);
    if (!noticed().paths.insert(path).second) return {};
  }
  return "Other processes are not kept from writing " + path + " at the same time: " + error.message();
}

}  // namespace tidewell::posix

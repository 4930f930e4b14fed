#include "tidewell/posix/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>

#include "tidewell/base/CancellationShield.h"
#include "tidewell/posix/AtomicFile.h"
#include "tidewell/posix/Descriptor.h"
#include "tidewell/posix/Fork.h"

namespace tidewell::posix {
namespace {

class DescriptorLock final : public platform::FileLock, public ForkParticipant {
 public:
  explicit DescriptorLock(Descriptor file) : file_(std::move(file)) { join(); }
  ~DescriptorLock() override {
    leave();
    // The child of a fork may hold the same open file: closing alone would leave it locked.
    if (file_) flock(file_.number(), LOCK_UN);
  }
  /// Closing the child's copy leaves the parent's lock as it is.
  void afterForkInChild() noexcept override { file_.close(); }

 private:
  Descriptor file_;
};

}  // namespace

platform::LockResult lockFile(const std::string& path) {
  const base::CancellationShield shield;
  using Clock = std::chrono::steady_clock;
  if (const auto failure = checkPath(path)) return {nullptr, failure};
  const std::string name = path + ".lock";
  Descriptor file(retrying(
      [&] { return open(name.c_str(), O_RDWR | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600); }));
  if (!file) return {nullptr, lastError()};
  struct stat record {};
  if (fstat(file.number(), &record) != 0) return {nullptr, lastError()};
  if (!S_ISREG(record.st_mode)) {
    return {nullptr, std::make_error_code(std::errc::operation_not_supported)};
  }
  const auto end =
      Clock::now() + std::chrono::duration<double>(platform::FileManager::kMaximumLockWaitSeconds);
  auto pause = std::chrono::microseconds(100);
  while (flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return {nullptr, lastError()};
    if (Clock::now() >= end) return {nullptr, std::make_error_code(std::errc::timed_out)};
    // Waiting in the system has no time limit that leaves the host's signals alone. Pauses stay short, so
    // that a process that takes the lock again and again leaves a gap to be found.
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(500));
  }
  return {std::make_unique<DescriptorLock>(std::move(file)), {}};
}

bool hasNoLocks(std::error_code error) {
  return error == std::errc::no_lock_available || error == std::errc::operation_not_supported ||
         error == std::errc::function_not_supported;
}

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/internal/ForkGuard.h"
#include "tidewell/posix/internal/PosixTransport.h"
#include "tidewell/posix/internal/Thread.h"
#include "tidewell/posix/internal/TransferEngine.h"
#include "tidewell/posix/internal/UrlErrors.h"

namespace tidewell::posix {
namespace {

platform::UrlTaskResult unavailable(std::string_view why) {
  return {std::nullopt, std::nullopt, urlError(platform::kUrlErrorResourceUnavailable, why)};
}

/// Keeps the task's initial failure if there is no memory for this one.
void fail(TransferTask& task, std::string_view why) noexcept {
  try {
    task.result = unavailable(why);
  } catch (const std::exception&) {
  }
}

void report(std::string_view what, std::string_view why) noexcept {
  try {
    platform::report(std::string(what).append(why));
  } catch (const std::exception&) {
    platform::report(what);
  }
}

/// Queues of tasks awaiting their transfer, and of results awaiting their completion. Shared by the
/// transport, its sessions and the threads, so that these may be destroyed in any order; the threads never
/// end.
///
/// At any time at most one thread drives the transfers and at most one runs completions. Two threads take
/// whichever role is free; the second is started when both are needed. So a completion need not wait for
/// another thread to wake up: the thread that read the last reply runs it, and the other thread takes over
/// new transfers. While transfers are in flight, the driving thread stays with them, and the other runs the
/// completions.
class Transfers final : public TransferClient, public std::enable_shared_from_this<Transfers> {
 public:
  Transfers(TransportSettings settings, AskAccess access)
      : settings_(std::move(settings)), access_(std::move(access)) {}

  /// `task` has one element.
  void handOver(TransferTasks task) noexcept {
    const base::CancellationShield shield;
    if (!forkGuard_.claim()) {
      refuse(task.front(), "the process was forked, and its transfers stayed with its parent");
    } else if (const bool mayStart = isAllowed(task.front());
               mayStart ? !tryHandOver(task) : !tryFinish(task)) {
      refuse(task.front(), "the system has no thread for it");
    }
  }

  TransferTasks takeTasks() noexcept override {
    const base::MutexLock lock(mutex_);
    return std::exchange(tasks_, {});
  }

 private:
  static constexpr int kMaximumThreads = 2;

  /// Returns false and leaves the task alone if there is no thread.
  bool tryHandOver(TransferTasks& task) noexcept {
    TransferEngine* engine = nullptr;
    {
      const base::MutexLock lock(mutex_);
      if (threads_ == 0 && !tryStartThread()) return false;
      tasks_.splice(tasks_.end(), task);
      if (tasks_.size() > 1) return true;  // a thread was notified for the first one and has not looked yet
      if (isDriven_) {
        engine = engine_;  // null while loading; that thread looks for tasks afterwards
      } else if (!provideThread()) {
        return true;  // the thread that runs completions takes it next
      }
    }
    if (engine != nullptr) {
      engine->wake();
    } else {
      changed_.notify_one();  // without the lock, so that the thread need not wait for it
    }
    return true;
  }

  /// Returns false, with the error in the task, if the task must not use the network.
  bool isAllowed(TransferTask& task) noexcept {
    try {
      const platform::NetworkAccess access = access_();
      if (access == platform::NetworkAccess::allowed) return true;
      task.result = {std::nullopt, std::nullopt, platform::refusalError(access)};
    } catch (const std::exception&) {
      // The task keeps its initial failure.
    }
    return false;
  }

  /// Hands over a task that has its result. Returns false and leaves it alone if there is no thread.
  bool tryFinish(TransferTasks& task) noexcept {
    {
      const base::MutexLock lock(mutex_);
      if (!isCompleting_ && !provideThread()) return false;
      finished_.splice(finished_.end(), task);
      if (isCompleting_) return true;  // that thread takes it next
    }
    changed_.notify_one();
    return true;
  }

  /// None of our threads is there to run the completion, so the caller's does.
  void refuse(TransferTask& task, std::string_view why) noexcept {
    if (!refusalReported_.exchange(true)) report("Requests fail in this process: ", why);
    fail(task, why);
    run(task);
  }

  static void run(TransferTask& task) noexcept {
    // By reference, so that the function needs no allocation.
    const auto complete = [&task] { task.completion(std::move(task.result)); };
    if (task.completion) platform::runReportingExceptions(std::cref(complete));
  }

  bool tryStartThread() noexcept TIDEWELL_REQUIRES(mutex_) {
    const char* const name = threads_ == 0 ? "tw-sessions-1" : "tw-sessions-2";
    try {
      if (!startThread(name, [self = shared_from_this()] { self->work(); })) return false;
    } catch (const std::exception&) {
      return false;
    }
    ++threads_;
    ++free_;
    return true;
  }

  /// Makes sure that a thread can be notified: starts one if none is free and the limit permits.
  bool provideThread() noexcept TIDEWELL_REQUIRES(mutex_) {
    return free_ > 0 || (threads_ < kMaximumThreads && tryStartThread());
  }

  [[noreturn]] void work() {
    base::ReleasableMutexLock lock(mutex_);
    --free_;
    for (;;) {
      const bool mayDrive = !isDriven_ && (hasTransfers_ || !tasks_.empty());
      const bool mayComplete = !isCompleting_ && !finished_.empty();
      if (mayDrive && (!mayComplete || provideThread())) {
        drive(mayComplete);
      } else if (mayComplete) {
        complete();
      } else {
        ++free_;
        lock.wait(changed_);
        --free_;
      }
    }
  }

  /// Drives transfers until some tasks have ended. First notifies the other thread if it has completions to
  /// run.
  void drive(bool callsForCompletions) TIDEWELL_REQUIRES(mutex_) {
    isDriven_ = true;
    mutex_.unlock();
    if (callsForCompletions) changed_.notify_one();
    TransferTasks finished = driveEngine();
    mutex_.lock();
    hasTransfers_ = engine_ != nullptr && engine_->hasTransfers();
    finished_.splice(finished_.end(), finished);
    isDriven_ = false;
  }

  TransferTasks driveEngine() noexcept {
    if (engine_ == nullptr) {
      announceMissingCertificates();
      TransferTasks tasks = takeTasks();  // those that come during a failing load cause another one
      std::string problem;
      TransferEngine* const engine = loadTransferEngine(*this, settings_, problem);
      if (engine == nullptr) {
        const bool isLasting = problem != kOutOfMemory;
        if (!isLasting || !platform::announce(platform::Trouble::noNetworkModule, problem)) {
          platform::report(problem);
        }
        for (TransferTask& task : tasks) fail(task, problem);
        return tasks;
      }
      const base::MutexLock lock(mutex_);
      engine_ = engine;
      tasks_.splice(tasks_.begin(), tasks);
    }
    return engine_->run();
  }

  void announceMissingCertificates() const noexcept {
    const auto exists = [](const std::string& path) {
      return !path.empty() && access(path.c_str(), R_OK) == 0;
    };
    if (exists(settings_.caFile) || exists(settings_.caDirectory)) return;
    try {
      const std::string& named = settings_.caFile.empty() ? settings_.caDirectory : settings_.caFile;
      platform::announce(platform::Trouble::noCertificates,
                         "every request fails: no trusted certificates were found" +
                             (named.empty() ? " in the usual places" : ": " + named + " cannot be read"));
    } catch (const std::exception&) {
    }
  }

  void complete() TIDEWELL_REQUIRES(mutex_) {
    isCompleting_ = true;
    while (!finished_.empty()) {
      TransferTasks task;
      task.splice(task.end(), finished_, finished_.begin());
      mutex_.unlock();
      run(task.front());
      task.clear();  // destroys what the completion holds, with no lock held
      forkGuard_.goOnInOwner();
      mutex_.lock();
    }
    isCompleting_ = false;
  }

  const TransportSettings settings_;
  const AskAccess access_;
  ForkGuard forkGuard_;
  std::atomic<bool> refusalReported_ = false;

  base::Mutex mutex_;
  std::condition_variable changed_;
  TransferTasks tasks_ TIDEWELL_GUARDED_BY(mutex_);
  TransferTasks finished_ TIDEWELL_GUARDED_BY(mutex_);
  TransferEngine* engine_ = nullptr;  ///< set by the driving thread, which reads it without the mutex
  bool isDriven_ TIDEWELL_GUARDED_BY(mutex_) = false;      ///< a thread is in `drive`
  bool hasTransfers_ TIDEWELL_GUARDED_BY(mutex_) = false;  ///< the engine's state when last driven
  bool isCompleting_ TIDEWELL_GUARDED_BY(mutex_) = false;  ///< a thread is in `complete`
  int threads_ TIDEWELL_GUARDED_BY(mutex_) = 0;
  int free_ TIDEWELL_GUARDED_BY(mutex_) = 0;  ///< threads that sleep or have not started yet
};

class PosixUrlSession final : public platform::UrlSession {
 public:
  PosixUrlSession(std::shared_ptr<Transfers> transfers, platform::UrlSessionConfiguration configuration)
      : transfers_(std::move(transfers)),
        configuration_(std::make_shared<const platform::UrlSessionConfiguration>(std::move(configuration))) {}

  void dataTaskWithRequest(platform::UrlRequest request, platform::UrlTaskCompletion completion) override {
    TransferTasks task;
    task.push_back({std::move(request),
                    std::move(completion),
                    configuration_,
                    std::chrono::steady_clock::now(),
                    {std::nullopt, std::nullopt, urlError(platform::kUrlErrorUnknown, "out of memory")}});
    transfers_->handOver(std::move(task));
  }

  [[nodiscard]] const platform::UrlSessionConfiguration& configuration() const override {
    return *configuration_;
  }

 private:
  const std::shared_ptr<Transfers> transfers_;
  const std::shared_ptr<const platform::UrlSessionConfiguration> configuration_;
};

class PosixTransport final : public Transport {
 public:
  PosixTransport(TransportSettings settings, AskAccess access)
      : transfers_(std::make_shared<Transfers>(std::move(settings), std::move(access))) {}

  [[nodiscard]] std::shared_ptr<platform::UrlSession> makeSession(
      platform::UrlSessionConfiguration configuration) override {
    return std::make_shared<PosixUrlSession>(transfers_, std::move(configuration));
  }

 private:
  const std::shared_ptr<Transfers> transfers_;
};

}  // namespace

Transport::~Transport() = default;

std::unique_ptr<Transport> makeTransport(TransportSettings settings, AskAccess access) {
  return std::make_unique<PosixTransport>(std::move(settings), std::move(access));
}

}  // namespace tidewell::posix

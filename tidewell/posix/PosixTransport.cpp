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
#include <vector>

#include "tidewell/platform/Platform.h"
#include "tidewell/posix/ForkGuard.h"
#include "tidewell/posix/Thread.h"
#include "tidewell/posix/TransferEngine.h"
#include "tidewell/posix/UrlErrors.h"
#include "tidewell/posix/UrlSessionModule.h"
#include "tidewell/posix/WorkerQueue.h"

namespace tidewell::posix {
namespace {

platform::UrlTaskResult unavailable(std::string_view why) {
  return {std::nullopt, std::nullopt, urlError(platform::kUrlErrorResourceUnavailable, why)};
}

/// Where tasks wait for the transfer thread. Shared by the transport, its sessions and the thread, so that
/// each may go when it likes; the thread never does.
class Transfers final : public TransferClient, public std::enable_shared_from_this<Transfers> {
 public:
  explicit Transfers(TransportSettings settings) : settings_(std::move(settings)) {}

  void handOver(TransferTask task) {
    if (!forkGuard_.claim()) {
      refuse(std::move(task.completion), "the process was forked, and its transfers stayed with its parent");
    } else if (!tryHandOver(task)) {
      refuse(std::move(task.completion), "the system has no thread for it");
    }
  }

  std::vector<TransferTask> takeTasks() override {
    const std::lock_guard lock(mutex_);
    return std::exchange(tasks_, {});
  }

  void complete(platform::UrlTaskCompletion completion, platform::UrlTaskResult result) noexcept override {
    if (!completion) return;
    std::function<void()> call = [completion = std::move(completion), result = std::move(result)]() mutable {
      std::exchange(completion, nullptr)(std::move(result));
    };
    if (!sessionQueues_.tryAsync(call)) platform::runReportingExceptions(call);
  }

 private:
  /// NO, and the task is left alone, where there is no thread.
  bool tryHandOver(TransferTask& task) {
    TransferEngine* engine = nullptr;
    {
      const std::lock_guard lock(mutex_);
      if (!hasThread_) {
        hasThread_ = startThread("tw-transfers", [self = shared_from_this()] { self->run(); });
        if (!hasThread_) return false;
      }
      tasks_.push_back(std::move(task));
      if (tasks_.size() > 1) return true;  // the thread has been woken, and has not looked yet
      engine = engine_;
    }
    if (engine != nullptr) {
      engine->wake();
    } else {
      arrived_.notify_one();
    }
    return true;
  }

  /// No thread of ours is there to run the completion, so the caller's does.
  void refuse(platform::UrlTaskCompletion completion, std::string_view why) {
    if (!refusalReported_.exchange(true)) {
      platform::report("Requests fail in this process: " + std::string(why));
    }
    if (!completion) return;
    platform::runReportingExceptions([&] { completion(unavailable(why)); });
  }

  [[noreturn]] void run() {
    for (;;) {
      {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [this] { return !tasks_.empty(); });
      }
      std::string problem;
      if (TransferEngine* engine = loadTransferEngine(*this, settings_, problem)) {
        {
          const std::lock_guard lock(mutex_);
          engine_ = engine;
        }
        engine->run();
      }
      failTasks(problem);
    }
  }

  void failTasks(const std::string& problem) {
    platform::report(problem);
    for (TransferTask& task : takeTasks()) complete(std::move(task.completion), unavailable(problem));
  }

  const TransportSettings settings_;
  WorkerQueue sessionQueues_{"tw-sessions"};
  ForkGuard forkGuard_;
  std::atomic<bool> refusalReported_ = false;
  std::mutex mutex_;
  std::condition_variable arrived_;  ///< for as long as there is no engine
  std::vector<TransferTask> tasks_;
  TransferEngine* engine_ = nullptr;
  bool hasThread_ = false;
};

class PosixUrlSession final : public platform::UrlSession {
 public:
  PosixUrlSession(std::shared_ptr<Transfers> transfers, platform::UrlSessionConfiguration configuration)
      : transfers_(std::move(transfers)),
        configuration_(std::make_shared<const platform::UrlSessionConfiguration>(std::move(configuration))) {}

  void dataTaskWithRequest(platform::UrlRequest request, platform::UrlTaskCompletion completion) override {
    transfers_->handOver(
        {std::move(request), std::move(completion), configuration_, std::chrono::steady_clock::now()});
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
  explicit PosixTransport(TransportSettings settings)
      : transfers_(std::make_shared<Transfers>(std::move(settings))) {}

  [[nodiscard]] std::shared_ptr<platform::UrlSession> makeSession(
      platform::UrlSessionConfiguration configuration) override {
    return std::make_shared<PosixUrlSession>(transfers_, std::move(configuration));
  }

 private:
  const std::shared_ptr<Transfers> transfers_;
};

}  // namespace

Transport::~Transport() = default;

std::unique_ptr<Transport> makeTransport(TransportSettings settings) {
  return std::make_unique<PosixTransport>(std::move(settings));
}

}  // namespace tidewell::posix

#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <string>

#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/internal/PosixTransport.h"

// The interface between the platform's library and its module with libcurl. Both are built together, so they
// may share C++ types.
namespace tidewell::posix {

/// A task from the moment when it is handed over until its completion has run.
struct TransferTask {
  platform::UrlRequest request;
  platform::UrlTaskCompletion completion;  ///< may be empty
  std::shared_ptr<const platform::UrlSessionConfiguration> session;
  std::chrono::steady_clock::time_point handedOver;
  /// What the completion is to be told. Made with the task: a failure for want of memory, which takes none.
  platform::UrlTaskResult result;
};

/// Tasks change lists with `splice`, which needs no memory: a task that was taken always ends.
using TransferTasks = std::list<TransferTask>;

/// What an engine asks of the library that loaded it. Used by the thread that drives the engine.
class TransferClient {
 public:
  /// The tasks that came since the last call, in their order. Never waits.
  [[nodiscard]] virtual TransferTasks takeTasks() noexcept = 0;

 protected:
  ~TransferClient() = default;
};

/// Drives transfers. Made once and never destroyed.
class TransferEngine {
 public:
  /// Takes tasks and transfers until some have ended, and sleeps meanwhile. By one thread at a time; another
  /// one may go on. Where memory is short the tasks that need some end with an error.
  [[nodiscard]] virtual TransferTasks run() noexcept = 0;
  /// Whether tasks that were taken have not ended. Not while another thread is in `run`.
  [[nodiscard]] virtual bool hasTransfers() const noexcept = 0;
  /// Has `run` look for new tasks. Any thread, before `run` is entered too.
  virtual void wake() noexcept = 0;

 protected:
  ~TransferEngine() = default;
};

/// The engine, on a thread of this library's, which is the first to touch libcurl. Null, and a
/// sentence in `problem`, where it cannot be had now; a later call may succeed. `client` and `settings` stay
/// for ever.
[[nodiscard]] TransferEngine* loadTransferEngine(TransferClient& client, const TransportSettings& settings,
                                                 std::string& problem) noexcept;

}  // namespace tidewell::posix

#if defined(TIDEWELL_URL_SESSION_MODULE)
#define TIDEWELL_MODULE_ENTRY __attribute__((visibility("default")))
#else
#define TIDEWELL_MODULE_ENTRY
#endif

/// The only name that the module exports. Refuses another version of the library than its own.
extern "C" TIDEWELL_MODULE_ENTRY tidewell::posix::TransferEngine* tidewell_make_transfer_engine(
    const char* version, tidewell::posix::TransferClient& client,
    const tidewell::posix::TransportSettings& settings, std::string& problem) noexcept;

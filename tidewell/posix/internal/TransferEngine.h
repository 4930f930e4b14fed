// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/internal/PosixTransport.h"

// The interface between the platform library and its libcurl module. Both come from the same build, so they
// may share C++ types.
namespace tidewell::posix {

/// A task, from submission until its completion has run.
struct TransferTask {
  platform::UrlRequest request;
  platform::UrlTaskCompletion completion;  ///< may be empty
  std::shared_ptr<const platform::UrlSessionConfiguration> session;
  std::chrono::steady_clock::time_point handedOver;
  /// The argument of the completion. Initially an out-of-memory failure, so that no memory is needed for that
  /// case.
  platform::UrlTaskResult result;
};

/// Tasks move between lists with `splice`, which needs no memory, so that an accepted task always completes.
using TransferTasks = std::list<TransferTask>;

/// What an engine requires of the library that loaded it. Used by the thread that drives the engine.
class TransferClient {
 public:
  /// The tasks submitted since the last call, in order. Never waits.
  [[nodiscard]] virtual TransferTasks takeTasks() noexcept = 0;

 protected:
  ~TransferClient() = default;
};

/// Drives transfers. Created once and never destroyed.
class TransferEngine {
 public:
  /// Takes tasks and drives transfers until some have ended; sleeps in between. For one thread at a time, not
  /// always the same one. Out of memory, the affected tasks end with an error.
  [[nodiscard]] virtual TransferTasks run() noexcept = 0;
  /// Whether accepted tasks are still running. Not to be called while another thread is in `run`.
  [[nodiscard]] virtual bool hasTransfers() const noexcept = 0;
  /// Makes `run` look for new tasks. Any thread, also before `run` is entered.
  virtual void wake() noexcept = 0;

 protected:
  ~TransferEngine() = default;
};

/// The problem of `loadTransferEngine` that may pass. Fits the small-string buffer.
inline constexpr std::string_view kOutOfMemory = "out of memory";

/// Creates the engine. Called on one of this library's threads, which is the first to use libcurl. Null, with
/// the reason in `problem`, if it is unavailable; a later call may succeed. `client` and `settings` must live
/// forever.
[[nodiscard]] TransferEngine* loadTransferEngine(TransferClient& client, const TransportSettings& settings,
                                                 std::string& problem) noexcept;

}  // namespace tidewell::posix

#if defined(TIDEWELL_URL_SESSION_MODULE)
#define TIDEWELL_MODULE_ENTRY __attribute__((visibility("default")))
#else
#define TIDEWELL_MODULE_ENTRY
#endif

/// The only symbol that the module exports. Fails if the library's version is not the module's own.
extern "C" TIDEWELL_MODULE_ENTRY tidewell::posix::TransferEngine* tidewell_make_transfer_engine(
    const char* version, tidewell::posix::TransferClient& client,
    const tidewell::posix::TransportSettings& settings, std::string& problem) noexcept;

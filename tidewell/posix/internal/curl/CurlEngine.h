// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "tidewell/posix/internal/TransferEngine.h"
#include "tidewell/posix/internal/curl/CurlTransfer.h"

namespace tidewell::posix {

/// Drives all transfers of the process with one multi handle, on one thread at a time. Sleeps in libcurl's
/// poll until a socket is ready, a transfer is due, or a task arrives.
class CurlEngine final : public TransferEngine {
 public:
  /// Further requests of one session wait: each may open a connection, and file descriptors are shared with
  /// the host.
  static constexpr std::size_t kMaximumAtOnce = 64;

  /// Null, with the reason in `problem`, if libcurl is unavailable.
  static CurlEngine* make(TransferClient& client, const TransportSettings& settings, std::string& problem);

  [[nodiscard]] TransferTasks run() noexcept override;
  [[nodiscard]] bool hasTransfers() const noexcept override { return !transfers_.empty(); }
  void wake() noexcept override;

 private:
  using Clock = CurlTransfer::Clock;
  struct Load {
    std::size_t running = 0;
    std::deque<CurlTransfer*> waiting;
  };

  CurlEngine(TransferClient& client, const TransportSettings& settings, CURLM* multi, CURLSH* share,
             curl_slist* connectTo);

  // These functions do not throw: a failed allocation ends the transfer.
  /// Admits the first of the tasks.
  void admit(TransferTasks& tasks) noexcept;
  void startWaiting() noexcept;
  void request(CurlTransfer& transfer) noexcept;
  void takeReplies() noexcept;
  void replyEnded(CurlTransfer& transfer, CURLcode code) noexcept;
  void endWhatIsDue() noexcept;
  void reschedule(CurlTransfer& transfer) noexcept;
  /// `result` creates the transfer's result; if that runs out of memory, the task's initial one is used.
  template <class Result>
  void finish(CurlTransfer& transfer, Result result) noexcept;
  void sleep() noexcept;

  TransferClient& client_;
  CURLM* const multi_;
  OpenSockets sockets_;
  CurlEnvironment environment_;
  struct Entry {
    std::unique_ptr<CurlTransfer> transfer;
    Clock::time_point due;  ///< its key in `due_`
  };
  std::unordered_map<CurlTransfer*, Entry> transfers_;
  /// When to check each transfer: at or before its deadline. Progress does not update the entry, which keeps
  /// it cheap.
  std::set<std::pair<Clock::time_point, CurlTransfer*>> due_;
  std::unordered_map<const platform::UrlSessionConfiguration*, Load> loads_;
  TransferTasks finished_;
};

}  // namespace tidewell::posix

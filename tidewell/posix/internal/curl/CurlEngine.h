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

/// Drives every transfer of the process with one multi handle, on one thread at a time.
///
/// It sleeps in libcurl's poll until a socket is ready, a transfer is due, or a task arrives.
class CurlEngine final : public TransferEngine {
 public:
  /// More than this many requests of one session wait for their turn: each may cost a connection, and the
  /// descriptors are the host's.
  static constexpr std::size_t kMaximumAtOnce = 64;

  /// Null, and a sentence in `problem`, where libcurl cannot be had.
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

  // None throws: what there is no memory for ends the transfer.
  /// The first of the tasks.
  void admit(TransferTasks& tasks) noexcept;
  void startWaiting() noexcept;
  void request(CurlTransfer& transfer) noexcept;
  void takeReplies() noexcept;
  void replyEnded(CurlTransfer& transfer, CURLcode code) noexcept;
  void endWhatIsDue() noexcept;
  void reschedule(CurlTransfer& transfer) noexcept;
  /// `result` makes the result of the transfer; where there is no memory for it the task's own counts.
  template <class Result>
  void finish(CurlTransfer& transfer, Result result) noexcept;
  void sleep() noexcept;

  TransferClient& client_;
  CURLM* const multi_;
  OpenSockets sockets_;
  CurlEnvironment environment_;
  struct Entry {
    std::unique_ptr<CurlTransfer> transfer;
    Clock::time_point due;  ///< its place in `due_`
  };
  std::unordered_map<CurlTransfer*, Entry> transfers_;
  /// When to look at a transfer next: never later than it is due. Progress does not move it, so it costs
  /// nothing.
  std::set<std::pair<Clock::time_point, CurlTransfer*>> due_;
  std::unordered_map<const platform::UrlSessionConfiguration*, Load> loads_;
  TransferTasks finished_;
};

}  // namespace tidewell::posix

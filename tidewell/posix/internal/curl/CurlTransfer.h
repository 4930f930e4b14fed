#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/internal/TransferEngine.h"
#include "tidewell/posix/internal/curl/ContentDecoder.h"
#include "tidewell/posix/internal/curl/OpenSockets.h"
#include "tidewell/posix/internal/curl/ResponseHead.h"

namespace tidewell::posix {

/// What all transfers of an engine have in common.
struct CurlEnvironment {
  const TransportSettings& settings;
  curl_slist* connectTo;  ///< the connection overrides as libcurl takes them; null for none
  CURLSH* share;          ///< cookies and TLS sessions, in memory
  OpenSockets& sockets;
  /// When a certificate last failed, until libcurl has replaced its parsed CA store: that one may be older
  /// than the file, or lack keys because memory was short.
  std::optional<std::chrono::steady_clock::time_point> certificateFailed;
};

/// One task from the first request to the last reply, redirects included. Used by the thread that drives the
/// engine.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;
  /// Smaller than libcurl's own 16 KB: a transfer in flight should not cost more than what it carries.
  static constexpr long kReceiveBufferBytes = 4096;
  /// The smallest that libcurl takes; its own is 64 KB for each request over TLS.
  static constexpr long kSendBufferBytes = 16384;

  /// Looks at the task only; `takeFrom` takes it.
  CurlTransfer(const TransferTask& task, const CurlEnvironment& environment);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// Takes the first task of a list, the one that it was made for, and gives it to another in the end.
  void takeFrom(TransferTasks& tasks) noexcept { own_.splice(own_.end(), tasks, tasks.begin()); }
  void moveTo(TransferTasks& tasks) noexcept { tasks.splice(tasks.end(), own_); }

  /// Makes the handle ready for the next request. An error where there is nothing that could be sent.
  [[nodiscard]] std::optional<base::Error> prepare();
  /// Null before `prepare`.
  [[nodiscard]] CURL* handle() const { return handle_.get(); }
  [[nodiscard]] const platform::UrlSessionConfiguration* session() const { return task_.session.get(); }

  /// When it has been silent, or has lived, for too long, if nothing more arrives. Before `prepare` only its
  /// life counts.
  [[nodiscard]] Clock::time_point due() const;
  /// Asks the socket for bytes that have not made a whole line or record yet; `due` may be later then.
  void noteBytesOnTheWire();

  /// Forgets all cookies where servers have set more than anybody needs.
  void boundCookies();
  /// Whether the transfer, which has succeeded, replaced the parsed CA store since a certificate last failed.
  [[nodiscard]] bool hasReplacedStore() const;
  /// Whether another request follows the one that has just ended: a redirect, or the same request on another
  /// connection because the kept one was not quiet. `prepare` comes next then. An error if a redirect leads
  /// where the session must not go.
  [[nodiscard]] std::pair<bool, std::optional<base::Error>> follow(CURLcode code);
  /// What came of it.
  [[nodiscard]] platform::UrlTaskResult result(CURLcode code);
  [[nodiscard]] platform::UrlTaskResult failure(base::Error error);

  void setResult(platform::UrlTaskResult result) noexcept { own_.front().result = std::move(result); }

 private:
  struct EasyCleanup {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  struct ListCleanup {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  /// Raises where memory is short: a request must not go out with half of its settings.
  template <class Setting>
  void set(CURLoption option, Setting setting);
  void setOnce();
  void setStoreLifetime();
  void setMethodAndBody();
  void setProxy();
  [[nodiscard]] bool setHeaders();
  [[nodiscard]] bool mayTravel(const std::string& headerName) const;
  [[nodiscard]] bool usesTls() const;
  void noteProgress() { lastProgress_ = Clock::now(); }
  [[nodiscard]] bool mayUseConnection(OpenSockets::Ends ends);
  [[nodiscard]] bool receivesTooMuch(std::uint64_t bodyBytes) const;
  [[nodiscard]] bool appendToBody(std::string_view bytes);
  /// Why a reply that libcurl takes for a whole one is none.
  [[nodiscard]] std::optional<base::Error> flawOfReply() const;

  // What libcurl calls while it works.
  static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static int countBytes(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) noexcept;
  static int beforeRequest(void* self, char* remoteAddress, char* localAddress, int remotePort,
                           int localPort) noexcept;

  TransferTasks own_;         ///< the task, once it was taken
  const TransferTask& task_;  ///< the same
  const CurlEnvironment& environment_;
  std::unique_ptr<CURL, EasyCleanup> handle_;
  std::unique_ptr<curl_slist, ListCleanup> headers_;

  // What the next request asks for; redirects change it.
  std::string url_;
  std::string method_;
  bool sendsBody_ = false;
  bool leftItsHost_ = false;
  bool needsNewConnection_ = false;
  int redirects_ = 0;
  /// The failure after which a new TLS connection of the request replaces the parsed CA store.
  std::optional<Clock::time_point> replacesStoreOf_;

  // What has arrived.
  ResponseHead head_;
  std::optional<ContentDecoder> decoder_;  ///< from the first byte of a body
  std::string body_;
  std::optional<base::Error> refused_;  ///< why this side has stopped the transfer

  Clock::time_point lastProgress_{};
  curl_off_t bytesCounted_ = 0;
  OpenSockets::Ends ends_;
  std::optional<Clock::time_point> sentAt_;  ///< when the connection was there
  std::uint64_t readBefore_ = 0;             ///< over this connection, by then
  char curlDetail_[CURL_ERROR_SIZE] = {};
};

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
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

/// Shared by all transfers of an engine.
struct CurlEnvironment {
  const TransportSettings& settings;
  curl_slist* connectTo;  ///< connection overrides in libcurl's format; null for none
  CURLSH* share;          ///< cookies and TLS sessions, in memory
  OpenSockets& sockets;
  /// When a certificate last failed; no value once libcurl has replaced its parsed CA store, which may be
  /// older than the file, or incomplete because it was parsed while memory was short.
  std::optional<std::chrono::steady_clock::time_point> certificateFailed;
};

/// One task, from the first request to the last reply, redirects included. For the thread that drives the
/// engine.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;
  /// Smaller than libcurl's default of 16 KB, so that a transfer does not use more memory than it carries.
  static constexpr long kReceiveBufferBytes = 4096;
  /// libcurl's minimum; its default is 64 KB for each request over TLS.
  static constexpr long kSendBufferBytes = 16384;

  /// Only refers to the task; `takeFrom` takes ownership.
  CurlTransfer(const TransferTask& task, const CurlEnvironment& environment);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// Takes the first task of a list, for which it was constructed; `moveTo` passes it on at the end.
  void takeFrom(TransferTasks& tasks) noexcept { own_.splice(own_.end(), tasks, tasks.begin()); }
  void moveTo(TransferTasks& tasks) noexcept { tasks.splice(tasks.end(), own_); }

  /// Sets up the handle for the next request. Returns an error if that request cannot be sent.
  [[nodiscard]] std::optional<base::Error> prepare();
  /// Null before `prepare`.
  [[nodiscard]] CURL* handle() const { return handle_.get(); }
  [[nodiscard]] const platform::UrlSessionConfiguration* session() const { return task_.session.get(); }

  /// The deadline if no more bytes arrive: the earlier of the silence limit and the limit on the total
  /// duration. Before `prepare` only the latter applies.
  [[nodiscard]] Clock::time_point due() const;
  /// Asks the socket for bytes that are not a complete line or TLS record yet, which may extend `due`.
  void noteBytesOnTheWire();

  /// Deletes all cookies if servers have set more than `kMaximumCookies`.
  void boundCookies();
  /// Whether the transfer, which has succeeded, replaced the parsed CA store since a certificate last failed.
  [[nodiscard]] bool hasReplacedStore() const;
  /// Whether another request follows the one that has ended: a redirect, or the same request on a new
  /// connection because the reused one had unread bytes. Call `prepare` next in that case. Returns an error
  /// for a redirect to a URL that the session does not permit.
  [[nodiscard]] std::pair<bool, std::optional<base::Error>> follow(CURLcode code);
  /// The result of the transfer.
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

  /// Raises if out of memory: a request must not be sent with incomplete settings.
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
  /// Why a reply that libcurl accepts as complete is invalid.
  [[nodiscard]] std::optional<base::Error> flawOfReply() const;

  // Callbacks of libcurl.
  static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static int countBytes(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) noexcept;
  static int beforeRequest(void* self, char* remoteAddress, char* localAddress, int remotePort,
                           int localPort) noexcept;

  TransferTasks own_;         ///< the task, once taken
  const TransferTask& task_;  ///< the same task
  const CurlEnvironment& environment_;
  std::unique_ptr<CURL, EasyCleanup> handle_;
  std::unique_ptr<curl_slist, ListCleanup> headers_;

  // The next request; redirects change it.
  std::string url_;
  std::string method_;
  bool sendsBody_ = false;
  bool leftItsHost_ = false;
  bool needsNewConnection_ = false;
  int redirects_ = 0;
  /// The failure after which a new TLS connection of the request replaces the parsed CA store.
  std::optional<Clock::time_point> replacesStoreOf_;

  // The reply so far.
  ResponseHead head_;
  std::optional<ContentDecoder> decoder_;  ///< set by the first byte of a body
  std::string body_;
  std::optional<base::Error> refused_;  ///< why this side stopped the transfer

  Clock::time_point lastProgress_{};
  curl_off_t bytesCounted_ = 0;
  OpenSockets::Ends ends_;
  std::optional<Clock::time_point> sentAt_;  ///< when the connection was ready
  std::uint64_t readBefore_ = 0;             ///< bytes read on this connection before that
  char curlDetail_[CURL_ERROR_SIZE] = {};
};

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {

/// A parsed HTTP request.
struct HttpRequest {
  std::string method;
  std::string target;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  bool keepAlive = true;
};

enum class ReadOutcome {
  request,
  end,        ///< the client closed the connection, or the server is stopping
  malformed,  ///< not HTTP/1.x, or unsupported by this server; the request holds what was read
  tooLarge,   ///< head or body beyond the limits
};

/// One accepted connection, plain or TLS.
///
/// For the connection's own thread, except `dropOnceIdle`. Every wait ends when the stop descriptor becomes
/// readable; operations then behave as if the client had disconnected. SIGPIPE must be blocked.
class HttpConnection {
 public:
  static constexpr std::size_t kMaximumHeadBytes = 64u << 10;
  static constexpr std::size_t kMaximumBodyBytes = 64u << 20;

  /// Takes ownership of the socket, which must be non-blocking.
  HttpConnection(int socket, int stopDescriptor);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// Prepares a context for use by connections; once per context.
  static void prepare(SSL_CTX* context);
  /// Whether the client starts with a TLS handshake. Waits for its first byte.
  [[nodiscard]] bool beginsWithTls() const;
  /// Performs the server side of the TLS handshake. `choose` receives the name that the client requests (or
  /// "") and returns the certificate to use.
  bool startTls(SSL_CTX* context, std::function<SSL_CTX*(std::string_view serverName)> choose);
  [[nodiscard]] bool hasTls() const noexcept { return tls_ != nullptr; }
  /// Accepts a CONNECT request: the connection continues as if it had just been made. False if the client has
  /// disconnected.
  bool beginTunnel();
  [[nodiscard]] const std::string& serverName() const noexcept { return serverName_; }

  [[nodiscard]] ReadOutcome readRequest(HttpRequest& request);
  /// Starts an answer, which lasts until the next request is awaited. Returns false if the connection must
  /// end after it.
  [[nodiscard]] bool beginAnswer();
  /// False if the client has disconnected.
  bool write(std::string_view bytes);
  /// Waits for a duration. False if the client disconnects meanwhile.
  bool pause(std::chrono::milliseconds duration);
  /// Waits until the client disconnects.
  void waitForEnd();

  /// Closes the connection cleanly: everything written is delivered.
  void finish();
  /// Closes it with a TCP reset.
  void reset();
  /// Any thread: closes an idle connection as soon as no request is in progress. One that has not carried any
  /// request stays open, because its client would not retry. Waits for an answer in progress, so that its
  /// client finds the connection closed before it sends the next request.
  void dropOnceIdle();

 private:
  enum class Wait { ready, timeOut, stopped };
  Wait wait(short events, std::chrono::milliseconds timeout) const;
  /// Returns 0 at the end of the connection.
  std::size_t receive(char* buffer, std::size_t size);
  bool retry(int tlsResult);
  bool fill();
  /// Waits for the first byte of a request.
  bool awaitRequest();
  void endAnswer();
  ReadOutcome readBody(HttpRequest& request);
  void closeSocket();
  static int chooseCertificate(SSL* tls, int* alert, void* unused);

  base::Mutex mutex_;  // between the connection's thread and `dropOnceIdle`
  int socket_;
  const int stop_;
  bool idle_ TIDEWELL_GUARDED_BY(mutex_) = false;      // waiting for a request after the first
  bool dropping_ TIDEWELL_GUARDED_BY(mutex_) = false;  // closes when idle
  bool served_ = false;
  bool answering_ TIDEWELL_GUARDED_BY(mutex_) =
      false;  // from the start of an answer until the next request is awaited
  std::condition_variable answered_;
  SSL* tls_ = nullptr;
  std::function<SSL_CTX*(std::string_view)> choose_;
  std::string serverName_;
  std::string received_;  // not consumed yet
};

}  // namespace tidewell::testing

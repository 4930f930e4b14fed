#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {

/// What stands in an HTTP request.
struct HttpRequest {
  std::string method;
  std::string target;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  bool keepAlive = true;
};

enum class ReadOutcome {
  request,
  end,        ///< the client, or the server's stop, has ended the connection
  malformed,  ///< not HTTP/1.x, or something that this server does not take; the request holds what was read
  tooLarge,   ///< head or body beyond the limits
};

/// One accepted connection, plain or TLS, on which requests are read and bytes written.
///
/// Used by the connection's own thread, `dropOnceIdle` apart. Every wait ends when the stop descriptor
/// becomes readable; the operations then answer as if the client had gone. A thread with SIGPIPE blocked is
/// expected.
class HttpConnection {
 public:
  static constexpr std::size_t kMaximumHeadBytes = 64u << 10;
  static constexpr std::size_t kMaximumBodyBytes = 64u << 20;

  /// Takes the (non-blocking) socket over.
  HttpConnection(int socket, int stopDescriptor);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// Readies a context, once, before connections use it.
  static void prepare(SSL_CTX* context);
  /// Whether the client begins with a TLS handshake. Waits for its first byte.
  [[nodiscard]] bool beginsWithTls() const;
  /// Does the server's half of the TLS handshake. `choose` gets the name that the client asks for ("" without
  /// one) and answers with the certificate to show.
  bool startTls(SSL_CTX* context, std::function<SSL_CTX*(std::string_view serverName)> choose);
  [[nodiscard]] const std::string& serverName() const noexcept { return serverName_; }

  [[nodiscard]] ReadOutcome readRequest(HttpRequest& request);
  /// Begins an answer, which lasts until the next request is awaited. False if the connection is to end after
  /// it.
  [[nodiscard]] bool beginAnswer();
  /// NO where the client has gone.
  bool write(std::string_view bytes);
  /// Lets time pass. NO where the client went meanwhile.
  bool pause(std::chrono::milliseconds duration);
  /// Lets time pass until the client goes.
  void waitForEnd();

  /// Ends the connection in order: what was written arrives.
  void finish();
  /// Ends it with a TCP reset.
  void reset();
  /// From any thread: ends a kept connection as soon as no request is on its way. One that has carried none
  /// yet goes on, for its client would not try again. Waits for an answer that is being sent, so that its
  /// client finds the connection closed before it sends the next request.
  void dropOnceIdle();

 private:
  enum class Wait { ready, timeOut, stopped };
  Wait wait(short events, std::chrono::milliseconds timeout) const;
  /// 0 at the end of the connection.
  std::size_t receive(char* buffer, std::size_t size);
  bool retry(int tlsResult);
  bool fill();
  /// Waits for the first byte of a request.
  bool awaitRequest();
  void endAnswer();
  ReadOutcome readBody(HttpRequest& request);
  void closeSocket();
  static int chooseCertificate(SSL* tls, int* alert, void* unused);

  base::Mutex mutex_;  // between the owner's thread and `dropOnceIdle`
  int socket_;
  const int stop_;
  bool idle_ TIDEWELL_GUARDED_BY(mutex_) = false;      // waits for a request that is not the first
  bool dropping_ TIDEWELL_GUARDED_BY(mutex_) = false;  // ends when it is idle
  bool served_ = false;
  bool answering_ TIDEWELL_GUARDED_BY(mutex_) =
      false;  // from the beginning of an answer until the next request is awaited
  std::condition_variable answered_;
  SSL* tls_ = nullptr;
  std::function<SSL_CTX*(std::string_view)> choose_;
  std::string serverName_;
  std::string received_;  // not consumed yet
};

}  // namespace tidewell::testing

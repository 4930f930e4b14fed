// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/internal/HttpConnection.h"

#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/testing/internal/Sockets.h"

namespace tidewell::testing {
namespace {

constexpr std::chrono::milliseconds kForever{-1};
// The longest wait for an answer in progress, for example to a client that does not read.
constexpr std::chrono::seconds kLongestAnswer{10};
// How long a client may keep its side open after the server has closed its own.
constexpr std::chrono::milliseconds kLinger{2000};
// The most bytes discarded meanwhile, for example of a request that was too large.
constexpr std::size_t kLingerBytes = 256u << 20;

/// Parses "GET /path HTTP/1.1", or "CONNECT host:port HTTP/1.1" where a tunnel may begin, and the header
/// lines after it.
bool parseHead(std::string_view head, bool mayTunnel, HttpRequest& request) {
  bool firstLine = true;
  while (!head.empty()) {
    const auto end = std::min(head.find("\r\n"), head.size());
    const auto line = head.substr(0, end);
    head.remove_prefix(std::min(end + 2, head.size()));
    if (firstLine) {
      firstLine = false;
      const auto first = line.find(' ');
      const auto last = line.rfind(' ');
      if (first == std::string_view::npos || first == last) return false;
      request.method = line.substr(0, first);
      request.target = line.substr(first + 1, last - first - 1);
      const auto version = line.substr(last + 1);
      const bool isTunnel = mayTunnel && request.method == "CONNECT";
      if (request.method.empty() || request.target.empty()) return false;
      if (request.target.front() != '/' && !isTunnel) return false;
      if (version != "HTTP/1.1" && version != "HTTP/1.0") return false;
      request.keepAlive = version == "HTTP/1.1";
      continue;
    }
    const auto colon = line.find(':');
    if (colon == 0 || colon == std::string_view::npos) return false;
    request.headers.emplace_back(line.substr(0, colon), base::detail::trimmed(line.substr(colon + 1), " \t"));
  }
  return !firstLine;
}

}  // namespace

HttpConnection::HttpConnection(int socket, int stopDescriptor) : socket_(socket), stop_(stopDescriptor) {}

HttpConnection::~HttpConnection() { closeSocket(); }

HttpConnection::Wait HttpConnection::wait(short events, std::chrono::milliseconds timeout) const {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + timeout;
  for (;;) {
    int left = -1;
    if (timeout != kForever) {
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
      left = static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(rest, 0, 1'000'000'000));
    }
    pollfd descriptors[] = {{socket_, events, 0}, {stop_, POLLIN, 0}};
    const int ready = ::poll(descriptors, 2, left);
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) return Wait::timeOut;
    return ready < 0 || descriptors[1].revents != 0 ? Wait::stopped : Wait::ready;
  }
}

bool HttpConnection::retry(int tlsResult) {
  switch (SSL_get_error(tls_, tlsResult)) {
    case SSL_ERROR_WANT_READ:
      return wait(POLLIN, kForever) == Wait::ready;
    case SSL_ERROR_WANT_WRITE:
      return wait(POLLOUT, kForever) == Wait::ready;
    default:
      return false;
  }
}

int HttpConnection::chooseCertificate(SSL* tls, int*, void*) {
  auto* self = static_cast<HttpConnection*>(SSL_get_app_data(tls));
  if (const char* name = SSL_get_servername(tls, TLSEXT_NAMETYPE_host_name)) self->serverName_ = name;
  SSL_set_SSL_CTX(tls, self->choose_(self->serverName_));
  return SSL_TLSEXT_ERR_OK;
}

void HttpConnection::prepare(SSL_CTX* context) {
  // The expansion of SSL_CTX_set_tlsext_servername_callback without its C-style cast.
  SSL_CTX_callback_ctrl(context, SSL_CTRL_SET_TLSEXT_SERVERNAME_CB,
                        reinterpret_cast<void (*)()>(&HttpConnection::chooseCertificate));
}

bool HttpConnection::beginsWithTls() const {
  constexpr char handshake = 22;
  char first = 0;
  return wait(POLLIN, kForever) != Wait::ready || ::recv(socket_, &first, 1, MSG_PEEK) != 1 ||
         first == handshake;
}

bool HttpConnection::startTls(SSL_CTX* context, std::function<SSL_CTX*(std::string_view)> choose) {
  choose_ = std::move(choose);
  tls_ = SSL_new(context);
  if (tls_ == nullptr || SSL_set_fd(tls_, socket_) != 1) return false;
  SSL_set_app_data(tls_, this);
  for (;;) {
    ERR_clear_error();
    const int result = SSL_accept(tls_);
    if (result == 1) return true;
    if (!retry(result)) return false;
  }
}

bool HttpConnection::beginTunnel() {
  received_.clear();  // a client sends nothing before the answer
  served_ = false;
  return write("HTTP/1.1 200 Connection established\r\n\r\n");
}

std::size_t HttpConnection::receive(char* buffer, std::size_t size) {
  for (;;) {
    if (tls_ != nullptr) {
      ERR_clear_error();
      const int count = SSL_read(tls_, buffer, static_cast<int>(size));
      if (count > 0) return static_cast<std::size_t>(count);
      if (!retry(count)) return 0;
    } else {
      const auto count = ::recv(socket_, buffer, size, 0);
      if (count > 0) return static_cast<std::size_t>(count);
      if (count == 0 || (errno != EAGAIN && errno != EINTR)) return 0;
      if (wait(POLLIN, kForever) != Wait::ready) return 0;
    }
  }
}

bool HttpConnection::fill() {
  char buffer[16u << 10];
  const auto count = receive(buffer, sizeof buffer);
  received_.append(buffer, count);
  return count > 0;
}

bool HttpConnection::awaitRequest() {
  {
    const base::MutexLock lock(mutex_);
    if (served_ && dropping_) return false;
    idle_ = served_;
    answering_ = false;
  }
  answered_.notify_all();
  const bool begun = fill();
  const base::MutexLock lock(mutex_);
  idle_ = false;
  served_ = true;
  return begun;
}

ReadOutcome HttpConnection::readRequest(HttpRequest& request) {
  request = {};
  if (!received_.empty()) {
    endAnswer();
  } else if (!awaitRequest()) {
    return ReadOutcome::end;
  }

  std::size_t headEnd = 0;
  while ((headEnd = received_.find("\r\n\r\n")) == std::string::npos) {
    if (received_.size() > kMaximumHeadBytes) return ReadOutcome::tooLarge;
    if (!fill()) return ReadOutcome::end;
  }
  if (headEnd > kMaximumHeadBytes) return ReadOutcome::tooLarge;
  const bool understood = parseHead(std::string_view(received_).substr(0, headEnd), tls_ == nullptr, request);
  received_.erase(0, headEnd + 4);
  return understood ? readBody(request) : ReadOutcome::malformed;
}

ReadOutcome HttpConnection::readBody(HttpRequest& request) {
  std::size_t length = 0;
  bool hasLength = false;
  bool expectsContinue = false;
  for (const auto& [name, value] : request.headers) {
    if (base::detail::equalsIgnoringCase(name, "content-length")) {
      const auto* end = value.data() + value.size();
      const auto result = std::from_chars(value.data(), end, length);
      if (hasLength || result.ptr != end || value.empty()) return ReadOutcome::malformed;
      if (result.ec == std::errc::result_out_of_range) return ReadOutcome::tooLarge;
      hasLength = true;
    } else if (base::detail::equalsIgnoringCase(name, "transfer-encoding")) {
      return ReadOutcome::malformed;  // clients of this server always announce the length of a body
    } else if (base::detail::equalsIgnoringCase(name, "connection")) {
      if (base::detail::equalsIgnoringCase(value, "close")) request.keepAlive = false;
    } else if (base::detail::equalsIgnoringCase(name, "expect")) {
      expectsContinue = base::detail::equalsIgnoringCase(value, "100-continue");
    }
  }
  if (length > kMaximumBodyBytes) return ReadOutcome::tooLarge;
  if (expectsContinue && received_.size() < length && !write("HTTP/1.1 100 Continue\r\n\r\n")) {
    return ReadOutcome::end;
  }
  while (received_.size() < length) {
    if (!fill()) return ReadOutcome::end;
  }
  request.body = received_.substr(0, length);
  received_.erase(0, length);
  return ReadOutcome::request;
}

bool HttpConnection::beginAnswer() {
  const base::MutexLock lock(mutex_);
  answering_ = true;
  return !dropping_;
}

void HttpConnection::endAnswer() {
  {
    const base::MutexLock lock(mutex_);
    answering_ = false;
  }
  answered_.notify_all();
}

bool HttpConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    if (tls_ != nullptr) {
      ERR_clear_error();
      const int count =
          SSL_write(tls_, bytes.data(), static_cast<int>(std::min<std::size_t>(bytes.size(), 1u << 30)));
      if (count > 0) {
        bytes.remove_prefix(static_cast<std::size_t>(count));
      } else if (!retry(count)) {
        return false;
      }
    } else {
      const auto count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count > 0) {
        bytes.remove_prefix(static_cast<std::size_t>(count));
      } else if ((errno != EAGAIN && errno != EINTR) || wait(POLLOUT, kForever) != Wait::ready) {
        return false;
      }
    }
  }
  return true;
}

bool HttpConnection::pause(std::chrono::milliseconds duration) {
  return duration <= std::chrono::milliseconds(0) || wait(kPeerShutDown, duration) == Wait::timeOut;
}

void HttpConnection::waitForEnd() { (void)wait(kPeerShutDown, kForever); }

void HttpConnection::finish() {
  if (socket_ < 0) return;
  if (tls_ != nullptr && SSL_is_init_finished(tls_)) {
    ERR_clear_error();
    SSL_shutdown(tls_);
  }
  // Closing with unread received bytes would reset the connection, and the client might lose the answer.
  ::shutdown(socket_, SHUT_WR);
  const auto end = std::chrono::steady_clock::now() + kLinger;
  std::size_t thrownAway = 0;
  char buffer[16u << 10];
  while (thrownAway < kLingerBytes) {
    const auto rest =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (rest <= std::chrono::milliseconds(0) || wait(POLLIN, rest) != Wait::ready) break;
    const auto count = ::recv(socket_, buffer, sizeof buffer, 0);
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) break;
    if (count > 0) thrownAway += static_cast<std::size_t>(count);
  }
  closeSocket();
}

void HttpConnection::reset() {
  const linger noLinger{1, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &noLinger, sizeof noLinger);
  closeSocket();
}

void HttpConnection::dropOnceIdle() {
  base::ReleasableMutexLock lock(mutex_);
  lock.waitUntil(answered_, std::chrono::steady_clock::now() + kLongestAnswer,
                 [this]() TIDEWELL_REQUIRES(mutex_) { return !answering_; });
  dropping_ = true;
  if (idle_ && socket_ >= 0) ::shutdown(socket_, SHUT_RDWR);
}

void HttpConnection::closeSocket() {
  const base::MutexLock lock(mutex_);
  answering_ = false;
  answered_.notify_all();
  SSL_free(tls_);
  tls_ = nullptr;
  if (socket_ >= 0) ::close(socket_);
  socket_ = -1;
}

}  // namespace tidewell::testing

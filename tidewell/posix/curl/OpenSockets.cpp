#include "tidewell/posix/curl/OpenSockets.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace tidewell::posix {
namespace {

using NameFunction = int (*)(int, sockaddr*, socklen_t*);

/// The port of one end of a socket; 0 where it has none.
int portOf(curl_socket_t socket, NameFunction nameOf) {
  union {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
    sockaddr_storage room;
  } address{};
  socklen_t length = sizeof address;
  if (nameOf(socket, &address.any, &length) != 0) return 0;
  if (address.any.sa_family == AF_INET) return ntohs(address.v4.sin_port);
  return address.any.sa_family == AF_INET6 ? ntohs(address.v6.sin6_port) : 0;
}

}  // namespace

std::optional<std::chrono::milliseconds> OpenSockets::silence(const Ports& ports) const {
  if (ports.local == 0) return std::nullopt;
  const auto found = std::find_if(sockets_.begin(), sockets_.end(), [&](curl_socket_t socket) {
    return portOf(socket, getsockname) == ports.local && portOf(socket, getpeername) == ports.remote;
  });
  if (found == sockets_.end()) return std::nullopt;
#if defined(__linux__)
  tcp_info info{};
  socklen_t length = sizeof info;
  if (getsockopt(*found, IPPROTO_TCP, TCP_INFO, &info, &length) != 0) return std::nullopt;
  return std::chrono::milliseconds(info.tcpi_last_data_recv);
#else
  return std::nullopt;
#endif
}

void OpenSockets::attach(CURL* handle) {
  curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, open);
  curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, close);
  curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
}

curl_socket_t OpenSockets::open(void* self, curlsocktype, curl_sockaddr* address) noexcept {
  const curl_socket_t socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (socket == CURL_SOCKET_BAD) return socket;
  try {
    static_cast<OpenSockets*>(self)->sockets_.insert(socket);
  } catch (...) {  // no memory: it works without being known
  }
  return socket;
}

int OpenSockets::close(void* self, curl_socket_t socket) noexcept {
  static_cast<OpenSockets*>(self)->sockets_.erase(socket);
  return ::close(socket);
}

}  // namespace tidewell::posix

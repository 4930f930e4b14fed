// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/OpenSockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>
#include <utility>

namespace tidewell::posix {
namespace {

using NameFunction = int (*)(int, sockaddr*, socklen_t*);

/// Address and port of one end of a socket; "" and 0 if unknown.
std::pair<std::string, int> endOf(curl_socket_t socket, NameFunction nameOf) {
  union {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
    sockaddr_storage room;
  } address{};
  socklen_t length = sizeof address;
  if (nameOf(socket, &address.any, &length) != 0) return {};
  char text[INET6_ADDRSTRLEN] = {};
  if (address.any.sa_family == AF_INET) {
    inet_ntop(AF_INET, &address.v4.sin_addr, text, sizeof text);
    return {text, ntohs(address.v4.sin_port)};
  }
  if (address.any.sa_family != AF_INET6) return {};
  inet_ntop(AF_INET6, &address.v6.sin6_addr, text, sizeof text);
  return {text, ntohs(address.v6.sin6_port)};
}

}  // namespace

std::optional<SocketTraffic> OpenSockets::traffic(const Ends& ends) {
  const curl_socket_t socket = find(ends);
  if (socket == CURL_SOCKET_BAD) return std::nullopt;
  return trafficOf(socket);
}

bool OpenSockets::isQuiet(const Ends& ends) {
  const curl_socket_t socket = find(ends);
  if (socket == CURL_SOCKET_BAD) return false;
  char byte = 0;
  const auto count = recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return count < 0 && errno == EAGAIN;
}

curl_socket_t OpenSockets::find(const Ends& ends) {
  if (ends.localPort == 0) return CURL_SOCKET_BAD;
  for (auto& [socket, known] : sockets_) {
    if (known.remotePort == 0) {
      std::tie(known.localAddress, known.localPort) = endOf(socket, getsockname);
      std::tie(known.remoteAddress, known.remotePort) = endOf(socket, getpeername);
    }
    if (known == ends) return socket;
  }
  return CURL_SOCKET_BAD;
}

void OpenSockets::attach(CURL* handle) {
  curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, open);
  curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, close);
  curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
}

curl_socket_t OpenSockets::open(void* self, curlsocktype, curl_sockaddr* address) noexcept {
  const curl_socket_t socket = openSocket(address->family, address->socktype, address->protocol);
  if (socket == CURL_SOCKET_BAD) return socket;
  try {
    static_cast<OpenSockets*>(self)->sockets_.try_emplace(socket);
  } catch (...) {  // out of memory: usable, but untracked and not reused
  }
  return socket;
}

int OpenSockets::close(void* self, curl_socket_t socket) noexcept {
  static_cast<OpenSockets*>(self)->sockets_.erase(socket);
  return ::close(socket);
}

}  // namespace tidewell::posix

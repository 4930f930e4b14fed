// SPDX-License-Identifier: Apache-2.0
#include <linux/tcp.h>  // has more fields of tcp_info than the C library's header
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>

#include "tidewell/posix/internal/curl/SocketState.h"

namespace tidewell::posix {

std::optional<SocketTraffic> trafficOf(int socket) noexcept {
  tcp_info info{};
  socklen_t length = sizeof info;
  if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &length) != 0) return std::nullopt;
  int unread = 0;
  ioctl(socket, FIONREAD, &unread);
  const auto waiting = static_cast<std::uint64_t>(std::max(unread, 0));
  return SocketTraffic{std::chrono::milliseconds(info.tcpi_last_data_recv),
                       info.tcpi_bytes_received - std::min<std::uint64_t>(waiting, info.tcpi_bytes_received)};
}

int openSocket(int family, int type, int protocol) noexcept {
  return socket(family, type | SOCK_CLOEXEC, protocol);
}

}  // namespace tidewell::posix

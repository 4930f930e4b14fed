// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/socket.h>

#include "tidewell/posix/internal/curl/SocketState.h"

namespace tidewell::posix {

std::optional<SocketTraffic> trafficOf(int) noexcept { return std::nullopt; }

/// Another thread may fork and exec before close-on-exec is set.
int openSocket(int family, int type, int protocol) noexcept {
  const int opened = socket(family, type, protocol);
  if (opened >= 0) fcntl(opened, F_SETFD, FD_CLOEXEC);
  return opened;
}

}  // namespace tidewell::posix

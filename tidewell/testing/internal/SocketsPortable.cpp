// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tidewell/testing/internal/Sockets.h"

namespace tidewell::testing {
namespace {

using posix::Descriptor;

/// Another thread may fork and exec before close-on-exec is set.
Descriptor withoutBlocking(int socket) noexcept {
  if (socket < 0) return {};
  fcntl(socket, F_SETFD, FD_CLOEXEC);
  fcntl(socket, F_SETFL, O_NONBLOCK);
  return Descriptor(socket);
}

}  // namespace

// `poll` always reports a closed connection, but not that only the peer shut it down.
const short kPeerShutDown = 0;

Descriptor openTcpSocket() noexcept { return withoutBlocking(socket(AF_INET, SOCK_STREAM, 0)); }

Descriptor acceptConnection(int listener) noexcept {
  return withoutBlocking(accept(listener, nullptr, nullptr));
}

std::pair<Descriptor, Descriptor> openPipe() noexcept {
  int ends[2];
  if (pipe(ends) != 0) return {};
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

}  // namespace tidewell::testing

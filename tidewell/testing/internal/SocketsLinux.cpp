// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tidewell/testing/internal/Sockets.h"

namespace tidewell::testing {

using posix::Descriptor;

const short kPeerShutDown = POLLRDHUP;

Descriptor openTcpSocket() noexcept {
  return Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

Descriptor acceptConnection(int listener) noexcept {
  return Descriptor(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

std::pair<Descriptor, Descriptor> openPipe() noexcept {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

}  // namespace tidewell::testing

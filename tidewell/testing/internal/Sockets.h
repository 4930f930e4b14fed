// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include "tidewell/posix/internal/Descriptor.h"

// Descriptors of the stand-in backend. All have close-on-exec set. Without a descriptor on failure; `errno`
// has the reason.
namespace tidewell::testing {

/// A TCP socket that does not block.
[[nodiscard]] posix::Descriptor openTcpSocket() noexcept;
/// A waiting connection, whose socket does not block.
[[nodiscard]] posix::Descriptor acceptConnection(int listener) noexcept;
/// The two ends of a pipe, for reading and for writing.
[[nodiscard]] std::pair<posix::Descriptor, posix::Descriptor> openPipe() noexcept;

/// What `poll` is asked for to notice that the peer has shut down or closed its socket.
extern const short kPeerShutDown;

}  // namespace tidewell::testing

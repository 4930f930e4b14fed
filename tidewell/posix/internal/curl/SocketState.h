// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace tidewell::posix {

/// Traffic of a TCP connection.
struct SocketTraffic {
  /// Time since the last bytes arrived. libcurl reports header lines only when complete and TLS records only
  /// when decrypted, so a server that sends byte by byte would seem silent.
  std::chrono::milliseconds silence;
  /// Bytes read since the connection was opened. libcurl does not count bytes that belong to neither a header
  /// line nor a body.
  std::uint64_t read;
};

/// No value if the system provides no information.
[[nodiscard]] std::optional<SocketTraffic> trafficOf(int socket) noexcept;

/// As `socket`, with close-on-exec set.
[[nodiscard]] int openSocket(int family, int type, int protocol) noexcept;

}  // namespace tidewell::posix

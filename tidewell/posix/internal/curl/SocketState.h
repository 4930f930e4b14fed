#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace tidewell::posix {

/// What went over a TCP connection.
struct SocketTraffic {
  /// Since the last bytes came. libcurl reports header lines once they are whole and TLS records once they
  /// are decoded, so a server that sends byte by byte looks silent from above.
  std::chrono::milliseconds silence;
  /// Bytes that were read since the connection was opened. libcurl does not count those that are neither a
  /// header line nor part of a body.
  std::uint64_t read;
};

/// No value where the system does not tell.
[[nodiscard]] std::optional<SocketTraffic> trafficOf(int socket) noexcept;

/// How many bytes were written to the socket and not yet read at the other end; 0 where the system does not
/// tell.
[[nodiscard]] int unreadAtTheOtherEnd(int socket) noexcept;

}  // namespace tidewell::posix

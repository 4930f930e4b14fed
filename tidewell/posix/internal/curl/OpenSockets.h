// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

#include <map>
#include <optional>
#include <string>

#include "tidewell/posix/internal/curl/SocketState.h"

namespace tidewell::posix {

/// Tracks the sockets of libcurl's connections, for information that libcurl does not provide. For the thread
/// that drives the engine.
class OpenSockets {
 public:
  /// The two ends of a connection, as reported by libcurl.
  struct Ends {
    std::string localAddress;
    std::string remoteAddress;
    int localPort = 0;
    int remotePort = 0;
    bool operator==(const Ends&) const = default;
  };

  /// No value if the connection is unknown or the system provides no information.
  [[nodiscard]] std::optional<SocketTraffic> traffic(const Ends& ends);
  /// Whether the connection is open and has no unread bytes; false if it is unknown.
  [[nodiscard]] bool isQuiet(const Ends& ends);

  /// Makes the handle open and close its sockets here, with close-on-exec set.
  void attach(CURL* handle);

 private:
  static curl_socket_t open(void* self, curlsocktype, curl_sockaddr* address) noexcept;
  static int close(void* self, curl_socket_t socket) noexcept;
  [[nodiscard]] curl_socket_t find(const Ends& ends);

  std::map<curl_socket_t, Ends> sockets_;  ///< the ends are filled in on first use
};

}  // namespace tidewell::posix

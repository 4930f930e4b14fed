#pragma once

#include <curl/curl.h>

#include <map>
#include <optional>
#include <string>

#include "tidewell/posix/internal/curl/SocketState.h"

namespace tidewell::posix {

/// The sockets of libcurl's connections, for what libcurl does not tell about them. Used by the thread that
/// drives the engine.
class OpenSockets {
 public:
  /// The two ends of a connection, as libcurl names them.
  struct Ends {
    std::string localAddress;
    std::string remoteAddress;
    int localPort = 0;
    int remotePort = 0;
    bool operator==(const Ends&) const = default;
  };

  /// No value for a connection that is not known, or where the system does not tell.
  [[nodiscard]] std::optional<SocketTraffic> traffic(const Ends& ends);
  /// Whether the connection is open and holds no unread bytes. False for one that is not known.
  [[nodiscard]] bool isQuiet(const Ends& ends);

  /// Makes the handle open and close its sockets here. Programs that the host starts do not inherit them.
  void attach(CURL* handle);

 private:
  static curl_socket_t open(void* self, curlsocktype, curl_sockaddr* address) noexcept;
  static int close(void* self, curl_socket_t socket) noexcept;
  [[nodiscard]] curl_socket_t find(const Ends& ends);

  std::map<curl_socket_t, Ends> sockets_;  ///< with their ends, once they were asked for
};

}  // namespace tidewell::posix

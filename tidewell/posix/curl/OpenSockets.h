#pragma once

#include <curl/curl.h>

#include <chrono>
#include <optional>
#include <set>

// Internal to the posix layer: not installed.
namespace tidewell::posix {

/// The sockets of libcurl's connections.
///
/// libcurl tells of header lines once they are whole and of TLS records once they are decoded, so a server
/// that sends byte by byte looks silent from above. The socket knows when its last bytes came.
class OpenSockets {
 public:
  /// The ends of a connection, as libcurl tells them.
  struct Ports {
    int local = 0;
    int remote = 0;
  };

  /// How long ago bytes came over a connection. Nothing where that is not known.
  [[nodiscard]] std::optional<std::chrono::milliseconds> silence(const Ports& ports) const;

  /// Has the handle open and close its sockets here. They do not live on in programs that the host starts.
  void attach(CURL* handle);

 private:
  static curl_socket_t open(void* self, curlsocktype, curl_sockaddr* address) noexcept;
  static int close(void* self, curl_socket_t socket) noexcept;

  std::set<curl_socket_t> sockets_;
};

}  // namespace tidewell::posix

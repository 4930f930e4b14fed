#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace tidewell::guest {

/// A proxy on the loopback interface. It records the first message of each connection, and refuses it.
class Proxy {
 public:
  Proxy() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
    listen(listener_, 16);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port = std::to_string(ntohs(address.sin_port));
    accepting_ = std::thread([this] {
      for (int client = 0; (client = accept(listener_, nullptr, nullptr)) >= 0; close(client)) {
        char bytes[4096] = "";
        const auto got = read(client, bytes, sizeof bytes);
        asked_.emplace_back(bytes, got > 0 ? static_cast<std::size_t>(got) : 0);
        constexpr const char* kRefusal = "HTTP/1.1 502 Refused\r\nContent-Length: 0\r\n\r\n";
        static_cast<void>(!write(client, kRefusal, std::strlen(kRefusal)));
      }
    });
  }
  /// The first messages of all connections. There are no others after it. To be called once.
  std::vector<std::string> stop() {
    shutdown(listener_, SHUT_RDWR);
    accepting_.join();
    close(listener_);
    return asked_;
  }

  std::string port;

 private:
  const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::vector<std::string> asked_;
  std::thread accepting_;
};

}  // namespace tidewell::guest

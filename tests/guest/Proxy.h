#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tidewell::guest {

/// A proxy on the loopback interface: CONNECT or SOCKS5, with a password or without, over TLS or not.
class Proxy {
 public:
  struct Options {
    bool socks = false;
    std::string user, password;
    std::string certificate, key;  ///< PEM files, for a proxy that speaks TLS
  };

  explicit Proxy(Options options) : options_(std::move(options)) {
    if (!options_.certificate.empty()) {
      tls_.reset(SSL_CTX_new(TLS_server_method()));
      SSL_CTX_use_certificate_chain_file(tls_.get(), options_.certificate.c_str());
      SSL_CTX_use_PrivateKey_file(tls_.get(), options_.key.c_str(), SSL_FILETYPE_PEM);
    }
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
    listen(listener_, 16);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    accepting_ = std::thread([this] { accept(); });
  }
  ~Proxy() {
    shutdown(listener_, SHUT_RDWR);
    accepting_.join();
    close(listener_);
  }
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  [[nodiscard]] std::string port() const { return std::to_string(port_); }
  /// Where each connection wanted to go; "refused" for those that could not say who they are.
  [[nodiscard]] std::vector<std::string> targets() const {
    const std::lock_guard lock(mutex_);
    return targets_;
  }

 private:
  /// A socket, with TLS on it or not.
  struct Stream {
    int socket = -1;
    std::unique_ptr<SSL, void (*)(SSL*)> tls{nullptr, SSL_free};

    ~Stream() { close(socket); }
    [[nodiscard]] std::string readSome() const {
      std::array<char, 16384> bytes{};
      const auto got = tls ? SSL_read(tls.get(), bytes.data(), static_cast<int>(bytes.size()))
                           : static_cast<int>(read(socket, bytes.data(), bytes.size()));
      return got > 0 ? std::string(bytes.data(), static_cast<std::size_t>(got)) : std::string();
    }
    void write(const std::string& bytes) const {
      if (bytes.empty()) return;
      if (tls) {
        SSL_write(tls.get(), bytes.data(), static_cast<int>(bytes.size()));
      } else {
        static_cast<void>(!::write(socket, bytes.data(), bytes.size()));
      }
    }
  };

  /// One connection after the other: a test has one at a time.
  void accept() {
    for (;;) {
      Stream client;
      client.socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client.socket < 0) return;
      if (tls_) {
        client.tls.reset(SSL_new(tls_.get()));
        SSL_set_fd(client.tls.get(), client.socket);
        if (SSL_accept(client.tls.get()) != 1) continue;
      }
      std::uint16_t port = 0;
      const std::string target = options_.socks ? greetSocks(client, port) : greetConnect(client, port);
      {
        const std::lock_guard lock(mutex_);
        targets_.push_back(target);
      }
      if (port != 0) relay(client, port);
    }
  }

  static std::string base64(const std::string& text) {
    std::string result(4 * ((text.size() + 2) / 3) + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(result.data()),
                    reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    result.pop_back();
    return result;
  }

  std::string greetConnect(const Stream& client, std::uint16_t& port) const {
    std::string head;
    while (head.find("\r\n\r\n") == std::string::npos) {
      const std::string more = client.readSome();
      if (more.empty()) return "ended";
      head += more;
    }
    const std::string secret =
        "Proxy-Authorization: Basic " + base64(options_.user + ":" + options_.password) + "\r\n";
    if (!options_.user.empty() && head.find(secret) == std::string::npos) {
      client.write(
          "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"guest\"\r\n"
          "Content-Length: 0\r\n\r\n");
      return "refused";
    }
    const std::string target = head.substr(8, head.find(' ', 8) - 8);
    port = static_cast<std::uint16_t>(std::atoi(target.substr(target.rfind(':') + 1).c_str()));
    client.write("HTTP/1.1 200 Connection established\r\n\r\n");
    return target;
  }

  /// RFC 1928 and RFC 1929, as far as it goes with one read a message.
  std::string greetSocks(const Stream& client, std::uint16_t& port) const {
    const std::string methods = client.readSome();
    const char method = options_.user.empty() ? '\0' : '\2';
    if (methods.substr(2).find(method) == std::string::npos) {
      client.write("\x05\xFF");
      return "refused";
    }
    client.write(std::string{'\5', method});
    if (method != '\0') {
      const auto counted = [](const std::string& text) { return static_cast<char>(text.size()) + text; };
      const bool known = client.readSome() == "\1" + counted(options_.user) + counted(options_.password);
      client.write(std::string{'\1', known ? '\0' : '\1'});
      if (!known) return "refused";
    }
    const std::string request = client.readSome();
    if (request.size() < 10) return "ended";
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(request[at]); };
    std::string host = std::to_string(byte(4));
    for (std::size_t i = 5; i < 8; ++i) host += "." + std::to_string(byte(i));
    if (request[3] == '\3') host = request.substr(5, byte(4));
    port = static_cast<std::uint16_t>(byte(request.size() - 2) << 8 | byte(request.size() - 1));
    client.write(std::string("\5\0\0\1\0\0\0\0\0\0", 10));
    return host + ":" + std::to_string(port);
  }

  static void relay(const Stream& client, std::uint16_t port) {
    Stream server;
    server.socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(server.socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return;
    for (;;) {
      std::array<pollfd, 2> waiting{pollfd{client.socket, POLLIN, 0}, pollfd{server.socket, POLLIN, 0}};
      const bool pending = client.tls && SSL_pending(client.tls.get()) > 0;
      if (!pending) poll(waiting.data(), waiting.size(), -1);
      for (const bool fromClient : {true, false}) {
        if (waiting[fromClient ? 0 : 1].revents == 0 && !(fromClient && pending)) continue;
        const std::string bytes = fromClient ? client.readSome() : server.readSome();
        if (bytes.empty()) return;
        (fromClient ? server : client).write(bytes);
      }
    }
  }

  const Options options_;
  std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> tls_{nullptr, SSL_CTX_free};
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::thread accepting_;
  mutable std::mutex mutex_;
  std::vector<std::string> targets_;
};

}  // namespace tidewell::guest

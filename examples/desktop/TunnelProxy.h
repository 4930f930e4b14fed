#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <string>

/// An HTTP proxy on 127.0.0.1 that takes CONNECT requests and leads them all to one port of this machine. SDK
/// and in-app browser are given it as their proxy, so that they reach a stand-in by the names of production.
class TunnelProxy {
 public:
  /// `leads` says for which hosts it has a way; for the others it answers with status 502.
  TunnelProxy(std::uint16_t toPort, std::function<bool(const std::string& host)> leads);
  ~TunnelProxy();
  TunnelProxy(const TunnelProxy&) = delete;
  TunnelProxy& operator=(const TunnelProxy&) = delete;

  /// "http://127.0.0.1:PORT"
  [[nodiscard]] std::string address() const;

 private:
  void serve(GSocketConnection* client) const;

  const std::uint16_t toPort_;
  const std::function<bool(const std::string&)> leads_;
  GSocketService* const service_;
  std::uint16_t port_ = 0;
};

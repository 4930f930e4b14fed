// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <string>

/// An HTTP proxy on 127.0.0.1 that connects all CONNECT requests to one local port. As the proxy of the SDK
/// and the in-app browser, it lets them reach a stand-in under the production host names.
class TunnelProxy {
 public:
  /// `leads` decides which hosts are connected; for others the proxy answers with status 502.
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

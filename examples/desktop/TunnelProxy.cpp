// SPDX-License-Identifier: Apache-2.0
#include "TunnelProxy.h"

#include <string_view>
#include <thread>

namespace {

constexpr std::size_t kLongestRequest = 16384;

/// The head of a request, up to its empty line; "" if it is incomplete or too long.
std::string readHead(GInputStream* in) {
  std::string head;
  char byte = 0;
  while (head.size() < kLongestRequest && g_input_stream_read(in, &byte, 1, nullptr, nullptr) == 1) {
    head += byte;
    if (head.ends_with("\r\n\r\n")) return head;
  }
  return {};
}

/// The host of "CONNECT host:port HTTP/1.1"; "" for any other request.
std::string connectHost(const std::string& head) {
  constexpr std::string_view kConnect = "CONNECT ";
  if (head.compare(0, kConnect.size(), kConnect) != 0) return {};
  return head.substr(kConnect.size(), head.find(':') - kConnect.size());
}

void say(GSocketConnection* to, std::string_view text) {
  g_output_stream_write_all(g_io_stream_get_output_stream(G_IO_STREAM(to)), text.data(), text.size(), nullptr,
                            nullptr, nullptr);
}

void copy(GSocketConnection* from, GSocketConnection* to) {
  g_output_stream_splice(g_io_stream_get_output_stream(G_IO_STREAM(to)),
                         g_io_stream_get_input_stream(G_IO_STREAM(from)), G_OUTPUT_STREAM_SPLICE_NONE,
                         nullptr, nullptr);
  g_socket_shutdown(g_socket_connection_get_socket(to), FALSE, TRUE, nullptr);
}

}  // namespace

TunnelProxy::TunnelProxy(std::uint16_t toPort, std::function<bool(const std::string&)> leads)
    : toPort_(toPort), leads_(std::move(leads)), service_(g_threaded_socket_service_new(-1)) {
  GInetAddress* const loopback = g_inet_address_new_loopback(G_SOCKET_FAMILY_IPV4);
  GSocketAddress* const any = g_inet_socket_address_new(loopback, 0);
  GSocketAddress* bound = nullptr;
  if (g_socket_listener_add_address(G_SOCKET_LISTENER(service_), any, G_SOCKET_TYPE_STREAM,
                                    G_SOCKET_PROTOCOL_TCP, nullptr, &bound, nullptr)) {
    port_ = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(bound));
    g_object_unref(bound);
  }
  g_object_unref(any);
  g_object_unref(loopback);
  g_signal_connect(service_, "run",
                   G_CALLBACK(+[](GThreadedSocketService*, GSocketConnection* client, GObject*,
                                  gpointer self) -> gboolean {
                     static_cast<const TunnelProxy*>(self)->serve(client);
                     return TRUE;
                   }),
                   this);
  g_socket_service_start(service_);
}

TunnelProxy::~TunnelProxy() {
  g_socket_service_stop(service_);
  g_socket_listener_close(G_SOCKET_LISTENER(service_));
  g_object_unref(service_);
}

std::string TunnelProxy::address() const { return "http://127.0.0.1:" + std::to_string(port_); }

void TunnelProxy::serve(GSocketConnection* client) const {
  const std::string host = connectHost(readHead(g_io_stream_get_input_stream(G_IO_STREAM(client))));
  if (host.empty() || !leads_(host))
    return say(client, "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n");
  GSocketClient* const connector = g_socket_client_new();
  g_socket_client_set_enable_proxy(connector, FALSE);
  GSocketConnection* const server =
      g_socket_client_connect_to_host(connector, "127.0.0.1", toPort_, nullptr, nullptr);
  g_object_unref(connector);
  if (server == nullptr) return say(client, "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n");
  say(client, "HTTP/1.1 200 Connection established\r\n\r\n");
  std::thread back([&] { copy(server, client); });
  copy(client, server);
  back.join();
  g_object_unref(server);
}

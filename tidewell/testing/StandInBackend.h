// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/testing/StandInFault.h"
#include "tidewell/testing/StandInRequest.h"

namespace tidewell::testing {
/// How a stand-in backend starts: ports, host names and initial replies.
struct StandInBackendOptions {
  /// The port of the HTTPS server on 127.0.0.1; 0 chooses a free one.
  std::uint16_t port = 0;
  /// Whether to start a control server (plain HTTP on 127.0.0.1), and its port; 0 chooses a free one.
  bool control = false;
  std::uint16_t controlPort = 0;
  /// The folder of the certificate authority and the server's key, created on first use and reused later. ""
  /// uses a temporary folder, removed with the backend.
  std::string directory;
  /// A file to write the authority's certificate (PEM) to; "" for none.
  std::string caFile;
  /// Host names in addition to the SDK's four hosts and localhost. Requests to these are not checked.
  std::vector<std::string> extraHosts;
  /// The reply of the configuration service; used only without a file.
  std::string configuration = "{}";
  /// A file with that reply, read at each request. If it is missing or invalid, the service replies with
  /// status 500 and reports to `onMessage`.
  std::string configurationFile;
  /// Called for each request before it is answered, on the connection's thread, possibly for several at once.
  /// Must not call the backend.
  std::function<void(const StandInRequest&)> onRequest;
  /// Called with the reply of the configuration service before it is sent for the first time, and when it
  /// has changed; on the connection's thread. Must not call the backend.
  std::function<void(std::string_view reply)> onConfiguration{};
  /// Called with messages for the user of the backend, on any thread with no lock held. By default they are
  /// written to standard error.
  std::function<void(std::string_view)> onMessage;
};

/// Simulates the backend's hosts with real HTTPS on the loopback interface, records and checks requests, and
/// injects faults on demand.
///
///     StandInBackend backend;
///     backend.setConfiguration(R"({"a_s": "blocked"})");
///     options.setCaFile(backend.caFile());
///     options.addConnectionOverride(std::string(HOST_TDW_PROD_US), 443, "127.0.0.1", backend.port());
///
/// Also an HTTP proxy: a tunnel to any host leads back to it, so a program with `https_proxy` and
/// `SSL_CERT_FILE` in its environment needs no options.
///
/// Any thread. Each connection has its own thread and stays open until the client closes it. The destructor
/// closes everything, including delayed answers, and joins all threads.
class TIDEWELL_EXPORT StandInBackend final {
 public:
  /// Listens on return. Throws `std::runtime_error` with a message if the port is in use or a folder is not
  /// writable.
  explicit StandInBackend(StandInBackendOptions options = {});
  ~StandInBackend();
  StandInBackend(const StandInBackend&) = delete;
  StandInBackend& operator=(const StandInBackend&) = delete;

  [[nodiscard]] std::uint16_t port() const noexcept;
  /// 0 without a control server.
  [[nodiscard]] std::uint16_t controlPort() const noexcept;
  /// The path of the authority's certificate (PEM), which the client must trust.
  [[nodiscard]] const std::string& caFile() const noexcept;

  /// Sets the configuration service's reply, sent unchanged in place of the file.
  void setConfiguration(std::string json);
  /// Uses a file again. It is read at each request.
  void setConfigurationFile(std::string path);
  /// Sets the reply to a GET of this path on every host, for example an image.
  void setResource(std::string path, std::string body, std::string contentType);

  /// Replaces all faults.
  void setFault(StandInFault fault);
  /// Adds a fault. A request meets the first matching one, in the order of addition. A fault for new
  /// connections closes the existing ones, each after its current request.
  void addFault(StandInFault fault);
  void clearFaults();
  [[nodiscard]] std::vector<StandInFault> faults() const;

  /// The requests since the start or `clearRequests`, but at most the last `kMaximumRequests`.
  [[nodiscard]] std::vector<StandInRequest> requests() const;
  /// The number of requests since then.
  [[nodiscard]] std::size_t requestCount() const;
  /// Waits until there are that many requests. False on time-out.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
  void clearRequests();
  static constexpr std::size_t kMaximumRequests = 10'000;

  /// The number of connections accepted since the start, and of those open now.
  [[nodiscard]] std::size_t connectionCount() const;
  [[nodiscard]] std::size_t openConnectionCount() const;

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace tidewell::testing

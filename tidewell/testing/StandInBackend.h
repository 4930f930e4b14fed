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
/// How a stand-in backend is started: where it listens, which names it answers to, what it replies at first.
struct StandInBackendOptions {
  /// Of the HTTPS server on 127.0.0.1; 0 takes a free one.
  std::uint16_t port = 0;
  /// Whether there is a control server (plain HTTP on 127.0.0.1), and its port; 0 takes a free one.
  bool control = false;
  std::uint16_t controlPort = 0;
  /// Where the certificate authority and the server's key live; made at first use and used again later. ""
  /// takes a temporary folder, which goes with the backend.
  std::string directory;
  /// A file to which the authority's certificate (PEM) is written; "" leaves it in the folder only.
  std::string caFile;
  /// Names that the server answers to beside the four hosts of the SDK and localhost. For these no request
  /// is a problem.
  std::vector<std::string> extraHosts;
  /// The reply of the configuration service; looked at only where there is no file.
  std::string configuration = "{}";
  /// A file with that reply, read at each request. Broken or missing, it gives status 500 and a line for
  /// `onMessage`.
  std::string configurationFile;
  /// Called for each request before it is answered, on the connection's thread, for several requests at
  /// once; must not call the backend.
  std::function<void(const StandInRequest&)> onRequest;
  /// Called with a sentence for whoever runs the backend; by default a line on standard error.
  std::function<void(std::string_view)> onMessage;
};

/// Plays the backend's hosts over real HTTPS on the loopback interface, keeps and checks what it receives,
/// and misbehaves on request.
///
///     StandInBackend backend;
///     backend.setConfiguration(R"({"a_s": "blocked"})");
///     options.caFile = backend.caFile();
///     options.connectionOverrides.push_back({std::string(HOST_TDW_PROD_US), 443, "127.0.0.1",
///     backend.port()});
///
/// Any thread. Each connection has a thread; connections are kept until the client closes them. The
/// destructor closes everything, waiting answers included, and joins all threads.
class TIDEWELL_EXPORT StandInBackend final {
 public:
  /// Listens when it returns. Throws `std::runtime_error` with a sentence where the port is taken or a folder
  /// cannot be written.
  explicit StandInBackend(StandInBackendOptions options = {});
  ~StandInBackend();
  StandInBackend(const StandInBackend&) = delete;
  StandInBackend& operator=(const StandInBackend&) = delete;

  [[nodiscard]] std::uint16_t port() const noexcept;
  /// 0 without a control server.
  [[nodiscard]] std::uint16_t controlPort() const noexcept;
  /// The authority's certificate (PEM), to be trusted by the client.
  [[nodiscard]] const std::string& caFile() const noexcept;

  /// What the configuration service answers from now on, as it is, in place of the file.
  void setConfiguration(std::string json);
  /// Back to a file. Read at each request.
  void setConfigurationFile(std::string path);
  /// What a GET of this path answers, on every host: an image, for instance.
  void setResource(std::string path, std::string body, std::string contentType);

  /// The only fault from now on.
  void setFault(StandInFault fault);
  /// One more. A request meets the first that fits it, in the order in which they were added. A fault that
  /// new connections meet closes the kept ones, each once its request is answered.
  void addFault(StandInFault fault);
  void clearFaults();
  [[nodiscard]] std::vector<StandInFault> faults() const;

  /// The requests since the start, or since `clearRequests`; of very many, the last `kMaximumRequests`.
  [[nodiscard]] std::vector<StandInRequest> requests() const;
  /// How many there were since then.
  [[nodiscard]] std::size_t requestCount() const;
  /// Waits until there were so many. NO where the time ran out.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
  void clearRequests();
  static constexpr std::size_t kMaximumRequests = 10'000;

  /// How many connections were accepted since the start, and how many are open now.
  [[nodiscard]] std::size_t connectionCount() const;
  [[nodiscard]] std::size_t openConnectionCount() const;

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace tidewell::testing

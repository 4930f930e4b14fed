// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/StandInBackend.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "tidewell/base/internal/AllSignalsBlocked.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/posix/internal/Descriptor.h"
#include "tidewell/testing/internal/Answer.h"
#include "tidewell/testing/internal/Certificates.h"
#include "tidewell/testing/internal/HttpConnection.h"
#include "tidewell/testing/internal/RequestChecks.h"
#include "tidewell/testing/internal/Sockets.h"

// Its own server rather than a library's: half of the faults are below HTTP (resets, handshakes, bytes that
// are not TLS, truncated or slow answers), where a library hides the socket. A thread per connection is the
// simplest design that can pause in the middle of an answer, and sufficient for tests.

namespace tidewell::testing {
namespace {

using posix::Descriptor;

constexpr std::size_t kMaximumConnections = 1024;

/// The folder of the certificates: the caller's, or a temporary one that is removed at the end.
class Folder {
 public:
  explicit Folder(const std::string& path) : path_(path), temporary_(path.empty()) {
    if (!temporary_) return;
    const char* base = std::getenv("TMPDIR");
    std::string made =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/tidewell-backend.XXXXXX";
    if (::mkdtemp(made.data()) == nullptr) {
      throw std::runtime_error("cannot make " + made + ": " + std::generic_category().message(errno));
    }
    path_ = made;
  }
  ~Folder() {
    std::error_code ignored;
    if (temporary_) std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  bool temporary_;
};

Descriptor listenOnLoopback(std::uint16_t port, std::uint16_t& actual) {
  Descriptor listener = openTcpSocket();
  const int on = 1;
  ::setsockopt(listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (::bind(listener.number(), generic, size) != 0 || ::listen(listener.number(), SOMAXCONN) != 0 ||
      ::getsockname(listener.number(), generic, &size) != 0) {
    throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + ": " +
                             std::generic_category().message(errno));
  }
  actual = ntohs(address.sin_port);
  return listener;
}

std::vector<std::string> certifiedHosts(const std::vector<std::string>& extraHosts) {
  std::vector<std::string> hosts{std::string(HOST_TDW_PROD_US), std::string(HOST_TDW_PROD_SERV3),
                                 std::string(HOST_TDW_PROD_EU), std::string(HOST_LOGENTRIES), "localhost"};
  hosts.insert(hosts.end(), extraHosts.begin(), extraHosts.end());
  return hosts;
}

Answer errorAnswer(int status, const std::string& text) {
  Answer answer;
  answer.status = status;
  answer.text = R"({"error":")" + text + "\"}";
  return answer;
}

bool startsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

class StandInBackend::Server {
 public:
  explicit Server(StandInBackendOptions options)
      : options_(std::move(options)),
        folder_(options_.directory),
        certificates_(folder_.path(), certifiedHosts(options_.extraHosts)),
        caFile_(std::filesystem::absolute(options_.caFile.empty() ? certificates_.authorityFile()
                                                                  : std::filesystem::path(options_.caFile))
                    .string()),
        stop_(openPipe()),
        configuration_(options_.configuration),
        configurationFile_(options_.configurationFile) {
    if (!stop_.first) throw std::runtime_error("no descriptor");
    if (!options_.onMessage) {
      options_.onMessage = [](std::string_view message) {
        std::fprintf(stderr, "tidewell-backend: %.*s\n", static_cast<int>(message.size()), message.data());
      };
    }
    if (!options_.caFile.empty()) copyAuthority();
    HttpConnection::prepare(certificates_.right());
    listener_ = listenOnLoopback(options_.port, port_);
    if (options_.control) controlListener_ = listenOnLoopback(options_.controlPort, controlPort_);
    const base::AllSignalsBlocked blocked;  // a disconnected client gives an error instead of SIGPIPE
    acceptor_ = std::thread([this] { acceptConnections(); });
  }

  ~Server() {
    // A byte rather than a close: a forked child may hold the end, too.
    (void)!::write(stop_.second.number(), "", 1);
    acceptor_.join();
    listener_ = Descriptor();  // no client may wait in the backlog
    controlListener_ = Descriptor();
    for (auto& worker : workers_) worker.thread.join();
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] std::uint16_t controlPort() const { return controlPort_; }
  [[nodiscard]] const std::string& caFile() const { return caFile_; }

  void setConfiguration(std::string json) {
    const base::MutexLock lock(mutex_);
    configuration_ = std::move(json);
    configurationFile_.clear();
  }

  void setConfigurationFile(std::string path) {
    const base::MutexLock lock(mutex_);
    configurationFile_ = std::move(path);
  }

  void setResource(std::string path, std::string body, std::string contentType) {
    const base::MutexLock lock(mutex_);
    resources_[std::move(path)] = {std::move(body), std::move(contentType)};
  }

  enum class EarlierFaults { stay, go };

  void addFault(StandInFault fault, EarlierFaults earlier = EarlierFaults::stay) {
    const bool meetsConnections = fault.meetsConnections();
    const base::MutexLock lock(mutex_);
    if (earlier == EarlierFaults::go) faults_.clear();
    faults_.push_back(std::move(fault));
    if (!meetsConnections) return;
    for (auto& worker : workers_) worker.connection.dropOnceIdle();
  }

  void clearFaults() {
    const base::MutexLock lock(mutex_);
    faults_.clear();
  }

  [[nodiscard]] std::vector<StandInFault> faults() const {
    const base::MutexLock lock(mutex_);
    return faults_;
  }

  [[nodiscard]] std::vector<StandInRequest> requests() const {
    const base::MutexLock lock(mutex_);
    return {requests_.begin(), requests_.end()};
  }

  [[nodiscard]] std::size_t requestCount() const {
    const base::MutexLock lock(mutex_);
    return requestCount_;
  }

  bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
    base::ReleasableMutexLock lock(mutex_);
    return lock.waitUntil(requestAdded_, std::chrono::steady_clock::now() + timeout,
                          [&]() TIDEWELL_REQUIRES(mutex_) { return requestCount_ >= count; });
  }

  void clearRequests() {
    const base::MutexLock lock(mutex_);
    requests_.clear();
    requestCount_ = 0;
  }

  [[nodiscard]] std::size_t connectionCount() const {
    const base::MutexLock lock(mutex_);
    return connectionCount_;
  }

  [[nodiscard]] std::size_t openConnectionCount() const {
    const base::MutexLock lock(mutex_);
    return static_cast<std::size_t>(std::count_if(workers_.begin(), workers_.end(), [](const Worker& worker) {
      return !worker.control && !worker.done;
    }));
  }

 private:
  /// A connection and its thread.
  struct Worker {
    Worker(int socket, int stop, bool isControl, std::uint64_t connectionNumber)
        : connection(socket, stop), control(isControl), number(connectionNumber) {}
    HttpConnection connection;
    const bool control;
    const std::uint64_t number;
    std::atomic<bool> done{false};
    std::thread thread;
  };

  struct Resource {
    std::string body;
    std::string contentType;
  };

  void copyAuthority() const {
    std::ifstream in(certificates_.authorityFile(), std::ios::binary);
    writePrivateFile(caFile_, {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()});
  }

  void message(const std::string& text) const { options_.onMessage(text); }

  void acceptConnections() {
    pollfd descriptors[] = {{listener_.number(), POLLIN, 0},
                            {controlListener_.number(), POLLIN, 0},
                            {stop_.first.number(), POLLIN, 0}};
    for (;;) {
      if (::poll(descriptors, 3, -1) < 0 && errno != EINTR) return;
      if (descriptors[2].revents != 0) return;
      for (const bool control : {false, true}) {
        if (descriptors[control ? 1 : 0].revents != 0) acceptOne(control);
      }
    }
  }

  void acceptOne(bool control) {
    const int listener = control ? controlListener_.number() : listener_.number();
    Descriptor socket = acceptConnection(listener);
    if (!socket) {
      if (errno != EMFILE && errno != ENFILE && errno != ENOMEM) return;
      message("cannot accept a connection: " + std::generic_category().message(errno));
      pollfd stopped{stop_.first.number(), POLLIN, 0};
      ::poll(&stopped, 1, 100);  // the connection stays in the backlog: avoid a busy loop
      return;
    }
    const int on = 1;
    ::setsockopt(socket.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);

    std::list<Worker> finished;
    std::string problem;
    {
      const base::MutexLock lock(mutex_);
      for (auto worker = workers_.begin(); worker != workers_.end();) {
        const auto next = std::next(worker);
        if (worker->done) finished.splice(finished.end(), workers_, worker);
        worker = next;
      }
      if (workers_.size() < kMaximumConnections) problem = startWorker(socket.release(), control);
    }
    for (auto& worker : finished) worker.thread.join();
    if (!problem.empty()) message("cannot serve a connection: " + problem);
  }

  /// Returns "", or the reason why there is no thread for the connection.
  std::string startWorker(int socket, bool control) TIDEWELL_REQUIRES(mutex_) {
    if (!control) ++connectionCount_;
    auto& worker = workers_.emplace_back(socket, stop_.first.number(), control, connectionCount_);
    try {
      worker.thread = std::thread([this, &worker] { run(worker); });
    } catch (const std::system_error& error) {
      workers_.pop_back();
      return error.what();
    }
    return {};
  }

  void run(Worker& worker) {
    try {
      if (worker.control) {
        serveControl(worker.connection);
      } else {
        serve(worker);
      }
    } catch (const std::exception& error) {
      message(std::string("a connection failed: ") + error.what());
    }
    worker.connection.finish();
    worker.done = true;
  }

  void serve(Worker& worker) {
    auto& connection = worker.connection;
    if (const auto fault = takeConnectionFault([](const StandInFault& candidate) {
          return candidate.kind == StandInFaultKind::garbage ||
                 candidate.kind == StandInFaultKind::silentHandshake;
        })) {
      if (fault->kind == StandInFaultKind::silentHandshake) return connection.waitForEnd();
      connection.write("220 This is not the protocol that you are looking for\r\n");
      return;
    }
    if (!startTlsIfWanted(connection)) return;
    while (serveRequest(worker)) {
    }
  }

  bool startTlsIfWanted(HttpConnection& connection) {
    return !connection.beginsWithTls() ||
           connection.startTls(certificates_.right(),
                               [this](std::string_view serverName) { return certificateFor(serverName); });
  }

  SSL_CTX* certificateFor(std::string_view serverName) {
    const auto fault = takeConnectionFault([&](const StandInFault& candidate) {
      return candidate.kind != StandInFaultKind::garbage &&
             candidate.kind != StandInFaultKind::silentHandshake &&
             (candidate.host.empty() || candidate.host == serverName);
    });
    if (!fault) return certificates_.right();
    switch (fault->kind) {
      case StandInFaultKind::wrongAuthority:
        return certificates_.wrongAuthority();
      case StandInFaultKind::wrongHostName:
        return certificates_.wrongHostName();
      case StandInFaultKind::commonNameOnly:
        return certificates_.commonNameOnly(serverName);
      default:
        return certificates_.expired();
    }
  }

  /// Returns the first matching fault and counts the occurrence.
  template <class Fits>
  std::optional<StandInFault> takeFault(Fits fits) {
    const base::MutexLock lock(mutex_);
    const auto fault = std::find_if(faults_.begin(), faults_.end(), fits);
    if (fault == faults_.end()) return std::nullopt;
    StandInFault taken = *fault;
    if (fault->times == 1) {
      faults_.erase(fault);
    } else if (fault->times > 1) {
      --fault->times;
    }
    return taken;
  }

  template <class Fits>
  std::optional<StandInFault> takeConnectionFault(Fits fits) {
    return takeFault([&](const StandInFault& fault) { return fault.meetsConnections() && fits(fault); });
  }

  std::optional<StandInFault> takeRequestFault(const StandInRequest& request) {
    return takeFault([&](const StandInFault& fault) {
      return !fault.meetsConnections() && (!fault.service || fault.service == request.service) &&
             startsWith(request.path, fault.path) &&
             (fault.host.empty() || fault.host == hostName(request.host));
    });
  }

  /// Reads and answers one request. Returns whether the connection can carry another.
  bool serveRequest(Worker& worker) {
    auto& connection = worker.connection;
    HttpRequest raw;
    const auto outcome = connection.readRequest(raw);
    if (outcome == ReadOutcome::end) return false;
    // As a proxy for all its hosts: a tunnel to any host leads back here.
    if (outcome == ReadOutcome::request && raw.method == "CONNECT" && !connection.hasTls()) {
      return connection.beginTunnel() && startTlsIfWanted(connection);
    }

    StandInRequest request = describe(worker, raw);
    if (outcome != ReadOutcome::request) {
      const bool large = outcome == ReadOutcome::tooLarge;
      request.problems.emplace_back(large ? "the request is too large" : "the request is not HTTP/1.1");
      keep(request);
      return sendAnswer(connection, errorAnswer(large ? 413 : 400, request.problems.back()), false);
    }
    const auto* entry = serviceForPath(request.path);
    if (entry != nullptr) request.service = entry->service;
    const auto resource = request.method == kGET ? resourceFor(request.path) : std::nullopt;
    const auto& extra = options_.extraHosts;
    if (!resource && std::find(extra.begin(), extra.end(), hostName(request.host)) == extra.end()) {
      checkRequest(request, entry, port_);
    }
    const auto fault = takeRequestFault(request);
    if (fault) request.fault = nameOfFaultKind(fault->kind);
    keep(request);

    if (fault && !connection.pause(fault->delay)) return false;
    if (fault && fault->kind == StandInFaultKind::silence) {
      connection.waitForEnd();
      return false;
    }
    if (fault && fault->kind == StandInFaultKind::close) return false;
    if (fault && fault->kind == StandInFaultKind::reset) {
      connection.reset();
      return false;
    }
    Answer answer = resource ? answerWith(*resource) : usualAnswer(request, entry);
    if (fault) answer = withFault(std::move(answer), *fault, raw.target);
    return sendAnswer(connection, std::move(answer), raw.keepAlive);
  }

  static StandInRequest describe(const Worker& worker, const HttpRequest& raw) {
    StandInRequest request;
    request.time = secondsSince1970();
    request.connection = worker.number;
    request.serverName = worker.connection.serverName();
    request.method = raw.method;
    const auto question = std::min(raw.target.find('?'), raw.target.size());
    request.path = raw.target.substr(0, question);
    request.query = raw.target.substr(std::min(question + 1, raw.target.size()));
    request.headers = raw.headers;
    request.host = request.header("host").value_or("");
    request.body = raw.body;
    return request;
  }

  void keep(const StandInRequest& request) {
    {
      const base::MutexLock lock(mutex_);
      requests_.push_back(request);
      if (requests_.size() > kMaximumRequests) requests_.pop_front();
      ++requestCount_;
    }
    requestAdded_.notify_all();
    if (options_.onRequest) options_.onRequest(request);
  }

  [[nodiscard]] std::optional<Resource> resourceFor(const std::string& path) const {
    const base::MutexLock lock(mutex_);
    const auto found = resources_.find(path);
    if (found == resources_.end()) return std::nullopt;
    return found->second;
  }

  static Answer answerWith(const Resource& resource) {
    Answer answer;
    answer.text = resource.body;
    answer.contentType = resource.contentType;
    return answer;
  }

  [[nodiscard]] Answer usualAnswer(const StandInRequest& request, const ServiceEntry* entry) const {
    if (entry == nullptr) return errorAnswer(404, "there is nothing here");
    if (request.method != entry->method) return errorAnswer(405, "the method is wrong");
    if (entry->service == TWServiceGetConfig) return servedConfiguration();
    Answer answer;
    answer.status = static_cast<int>(entry->successStatus);
    answer.text = usualReply(*entry);
    return answer;
  }

  [[nodiscard]] Answer configurationAnswer() const {
    Answer answer;
    std::string file;
    {
      const base::MutexLock lock(mutex_);
      file = configurationFile_;
      answer.text = configuration_;
    }
    if (file.empty()) return answer;
    std::ifstream in(file, std::ios::binary);
    answer.text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (!in.is_open() || in.bad()) {
      message("cannot read the configuration " + file + "; answered with status 500");
      return errorAnswer(500, "the configuration cannot be read");
    }
    if (const auto reason = whyNotJson(answer.text)) {
      message("the configuration " + file + " is not JSON: " + *reason + "; answered with status 500");
      return errorAnswer(500, "the configuration is not JSON");
    }
    return answer;
  }

  /// The answer to a device. A reply that differs from the last one is passed to `onConfiguration`.
  Answer servedConfiguration() const {
    Answer answer = configurationAnswer();
    if (!options_.onConfiguration || answer.status != static_cast<int>(kServiceStatusOK)) return answer;
    {
      const base::MutexLock lock(mutex_);
      if (servedBefore_ == answer.text) return answer;
      servedBefore_ = answer.text;
    }
    options_.onConfiguration(answer.text);
    return answer;
  }

  void serveControl(HttpConnection& connection) {
    HttpRequest request;
    while (connection.readRequest(request) == ReadOutcome::request &&
           sendAnswer(connection, controlAnswer(request), request.keepAlive)) {
    }
  }

  Answer controlAnswer(const HttpRequest& request) {
    const auto is = [&](std::string_view method, std::string_view target) {
      return request.method == method && request.target == target;
    };
    Answer done;
    done.status = 204;
    if (is("POST", "/control/fault")) {
      std::string problem;
      const auto fault = StandInFault::parse(request.body, problem);
      if (!fault) return plainAnswer(400, problem + "\n");
      addFault(*fault);
      return done;
    }
    if (is("DELETE", "/control/fault")) {
      clearFaults();
      return done;
    }
    if (is("GET", "/control/fault")) return linesAnswer(faults());
    if (is("GET", "/control/config")) return configurationAnswer();
    if (is("POST", "/control/config")) {
      if (const auto reason = whyNotJson(request.body)) {
        return plainAnswer(400, "it is not JSON: " + *reason + "\n");
      }
      setConfiguration(request.body);
      return done;
    }
    if (is("DELETE", "/control/config")) {
      const base::MutexLock lock(mutex_);
      configuration_ = options_.configuration;
      configurationFile_ = options_.configurationFile;
      return done;
    }
    if (is("GET", "/control/requests")) return linesAnswer(requests());
    if (is("DELETE", "/control/requests")) {
      clearRequests();
      return done;
    }
    return plainAnswer(404,
                       "POST, DELETE, GET /control/fault; POST, DELETE, GET /control/config; "
                       "GET, DELETE /control/requests\n");
  }

  static Answer plainAnswer(int status, std::string text) {
    Answer answer;
    answer.status = status;
    answer.contentType = "text/plain; charset=utf-8";
    answer.text = std::move(text);
    return answer;
  }

  template <class Item>
  static Answer linesAnswer(const std::vector<Item>& items) {
    Answer answer;
    answer.contentType = "application/x-ndjson";
    for (const auto& item : items) answer.text += item.json() + "\n";
    return answer;
  }

  StandInBackendOptions options_;
  const Folder folder_;
  const Certificates certificates_;
  const std::string caFile_;
  std::pair<Descriptor, Descriptor> stop_;  // the first becomes readable when the server stops
  Descriptor listener_;
  Descriptor controlListener_;
  std::uint16_t port_ = 0;
  std::uint16_t controlPort_ = 0;

  mutable base::Mutex mutex_;
  mutable std::condition_variable requestAdded_;
  std::string configuration_ TIDEWELL_GUARDED_BY(mutex_);
  std::string configurationFile_ TIDEWELL_GUARDED_BY(mutex_);  // takes precedence unless empty
  mutable std::string servedBefore_ TIDEWELL_GUARDED_BY(mutex_);
  std::map<std::string, Resource> resources_ TIDEWELL_GUARDED_BY(mutex_);
  std::vector<StandInFault> faults_ TIDEWELL_GUARDED_BY(mutex_);
  std::deque<StandInRequest> requests_ TIDEWELL_GUARDED_BY(mutex_);
  std::size_t requestCount_ TIDEWELL_GUARDED_BY(mutex_) = 0;
  std::size_t connectionCount_ TIDEWELL_GUARDED_BY(mutex_) = 0;
  std::list<Worker> workers_ TIDEWELL_GUARDED_BY(mutex_);

  std::thread acceptor_;
};

StandInBackend::StandInBackend(StandInBackendOptions options)
    : server_(std::make_unique<Server>(std::move(options))) {}
StandInBackend::~StandInBackend() = default;

std::uint16_t StandInBackend::port() const noexcept { return server_->port(); }
std::uint16_t StandInBackend::controlPort() const noexcept { return server_->controlPort(); }
const std::string& StandInBackend::caFile() const noexcept { return server_->caFile(); }
void StandInBackend::setConfiguration(std::string json) { server_->setConfiguration(std::move(json)); }
void StandInBackend::setConfigurationFile(std::string path) {
  server_->setConfigurationFile(std::move(path));
}
void StandInBackend::setResource(std::string path, std::string body, std::string contentType) {
  server_->setResource(std::move(path), std::move(body), std::move(contentType));
}
void StandInBackend::setFault(StandInFault fault) {
  server_->addFault(std::move(fault), Server::EarlierFaults::go);
}
void StandInBackend::addFault(StandInFault fault) { server_->addFault(std::move(fault)); }
void StandInBackend::clearFaults() { server_->clearFaults(); }
std::vector<StandInFault> StandInBackend::faults() const { return server_->faults(); }
std::vector<StandInRequest> StandInBackend::requests() const { return server_->requests(); }
std::size_t StandInBackend::requestCount() const { return server_->requestCount(); }
bool StandInBackend::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
  return server_->waitForRequests(count, timeout);
}
void StandInBackend::clearRequests() { server_->clearRequests(); }
std::size_t StandInBackend::connectionCount() const { return server_->connectionCount(); }
std::size_t StandInBackend::openConnectionCount() const { return server_->openConnectionCount(); }

}  // namespace tidewell::testing

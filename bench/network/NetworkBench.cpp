// SPDX-License-Identifier: Apache-2.0
#include <dirent.h>
#include <malloc.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "BackendProcess.h"
#include "BareClient.h"
#include "Ratio.h"
#include "tidewell/posix/PosixPlatform.h"

// The URL session beside a bare libcurl multi handle, against a backend in a process of its own.
namespace {

using namespace tidewell;

constexpr const char* kHost = "shop.example";
/// Faults of the backend by path, so that one backend serves all rows: an immediate reply, one that is late
/// enough for 64 requests to overlap, and none.
constexpr const char* kPage = "/page";
constexpr const char* kLatePage = "/late";
constexpr const char* kSilentPage = "/silence";

std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Server {
  std::uint16_t port = 0;
  std::string caFile;  ///< the system's certificates and the backend's authority
};

testing::StandInFault fault(const char* text) {
  std::string problem;
  return testing::StandInFault::parse(text, problem).value();
}

/// Starts a backend in a child that ends with this process.
Server startServer(const std::string& folder, bool closesConnections) {
  const std::string authority = folder + (closesConnections ? "/closing.pem" : "/keeping.pem");
  testing::StandInBackendOptions options;
  options.extraHosts = {kHost};
  options.caFile = authority;
  Server server;
  server.port = bench::startBackend(options, [&](testing::StandInBackend& backend) {
    for (const char* page : {kPage, kLatePage}) {
      backend.setResource(page, std::string(2048, 'x'), "text/plain");
    }
    backend.addFault(fault("kind=delay:500,path=/late"));
    backend.addFault(fault("kind=silence,path=/silence"));
    if (closesConnections) {
      testing::StandInFault closing = fault("kind=status:200");
      closing.headers = {{"Connection", "close"}};
      backend.addFault(closing);
    }
  });
  server.caFile = authority + ".all";
  std::ofstream(server.caFile) << bytesOf("/etc/ssl/certs/ca-certificates.crt") << bytesOf(authority);
  return server;
}

std::unique_ptr<posix::PosixPlatform> makePlatform(const std::string& folder, const Server& server) {
  posix::Options options;
  options.setBundleIdentifier("org.example.bench");
  options.setVersion("1");
  options.setDataHome(folder);
  options.setProxy("-");
  options.setCaFile(server.caFile);
  options.addConnectionOverride(kHost, 443, "127.0.0.1", server.port);
  return std::make_unique<posix::PosixPlatform>(std::move(options));
}

/// Waits until a count has reached zero.
class Latch {
 public:
  explicit Latch(std::size_t count) : count_(count) {}
  void countDown() {
    const std::lock_guard lock(mutex_);
    if (--count_ == 0) changed_.notify_one();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return count_ == 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t count_;
};

/// Both clients for one server.
class Pair {
 public:
  Pair(const std::string& folder, const Server& server)
      : platform_(makePlatform(folder, server)),
        bare_(kHost, server.port, server.caFile),
        bareWithQueue_(kHost, server.port, server.caFile,
                       bench::BareClient::Completions::onAThreadOfTheirOwn) {
    platform::UrlSessionConfiguration configuration;
    configuration.httpsOnly = true;
    session_ = platform_->makeUrlSession(configuration);
  }

  void send(const std::string& path, std::function<void(bool)> completion) {
    session_->dataTaskWithRequest(
        platform::UrlRequest(base::Url::URLWithString("https://" + std::string(kHost) + path)),
        [completion = std::move(completion)](const platform::UrlTaskResult& result) {
          completion(!result.error);
        });
  }

  /// Sends a number of requests, a given number of them at once.
  void ours(std::size_t times, std::size_t atOnce, const char* page = kPage) {
    for (std::size_t done = 0; done < times; done += atOnce) {
      Latch latch(atOnce);
      for (std::size_t i = 0; i < atOnce; ++i) {
        send(page, [&](bool good) {
          if (!good) std::abort();
          latch.countDown();
        });
      }
      latch.wait();
    }
  }

  void floor(std::size_t times, std::size_t atOnce) { floor(bare_, times, atOnce, kPage); }
  /// The same with a thread for completions.
  void floorWithQueue(std::size_t times) { floor(bareWithQueue_, times, 1, kPage); }

  static void floor(bench::BareClient& client, std::size_t times, std::size_t atOnce, const char* page) {
    for (std::size_t done = 0; done < times; done += atOnce) {
      Latch latch(atOnce);
      for (std::size_t i = 0; i < atOnce; ++i) {
        client.get(page, [&](const std::string& body) {
          if (body.empty()) std::abort();
          latch.countDown();
        });
      }
      latch.wait();
    }
  }

 private:
  std::unique_ptr<posix::PosixPlatform> platform_;
  std::shared_ptr<platform::UrlSession> session_;
  bench::BareClient bare_;
  bench::BareClient bareWithQueue_;
};

/// Heap memory per request while the server sends nothing.
template <class Send>
double kilobytesInFlight(std::size_t count, Send send) {
  const std::size_t before = mallinfo2().uordblks;
  for (std::size_t i = 0; i < count; ++i) send();
  std::this_thread::sleep_for(std::chrono::seconds(2));
  return static_cast<double>(mallinfo2().uordblks - before) / static_cast<double>(count) / 1024;
}

std::string text(const char* format, double number) {
  char line[100];
  std::snprintf(line, sizeof line, format, number);
  return line;
}

long contextSwitchesOfOurThreads() {
  long sum = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    const std::string folder = task.path().string();
    if (bytesOf(folder + "/comm").rfind("tw-", 0) != 0) continue;
    std::ifstream status(folder + "/status");
    for (std::string line; std::getline(status, line);) {
      if (line.find("ctxt_switches") != std::string::npos)
        sum += std::atol(line.c_str() + line.find(':') + 1);
    }
  }
  return sum;
}

}  // namespace

int main(int argc, char** argv) {
  char name[] = "/tmp/tidewell-bench-XXXXXX";
  const std::string folder = mkdtemp(name);
  const Server keeping = startServer(folder, false);
  const Server closing = startServer(folder, true);
  Pair kept(folder, keeping);
  Pair fresh(folder, closing);
  for (Pair* pair : {&kept, &fresh}) {
    pair->ours(64, 64);  // creates connections and threads and reads the CA files
    pair->floor(64, 64);
  }

  bench::Options longer;
  longer.secondsPerTurn = 0.1;
  const auto row = [&](const char* what, double goal, Pair& pair, std::size_t atOnce) {
    bench::ratio(
        what, goal, [&pair, atOnce](std::size_t n) { pair.ours(n, atOnce); },
        [&pair, atOnce](std::size_t n) { pair.floor(n, atOnce); }, longer);
  };
  row("request on a kept connection", 1.1, kept, 1);
  bench::ratio(
      "the same if the floor also has a thread for completions", 1.3, [&](std::size_t n) { kept.ours(n, 1); },
      [&](std::size_t n) { kept.floorWithQueue(n); }, longer);
  row("request on a new connection, system's CA bundle", 1.5, fresh, 1);
  row("request, 8 at once", 1 / 0.9, kept, 8);
  row("request, 64 at once", 1 / 0.9, kept, 64);

  bench::figure("context switches of our threads in 2 s of idleness", [] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const long before = contextSwitchesOfOurThreads();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    return std::to_string(contextSwitchesOfOurThreads() - before);
  });
  bench::figure("heap of a request in flight, 64 on kept connections", [&] {
    kept.ours(64, 64, kLatePage);
    return text("%.1f KB", kilobytesInFlight(64, [&] { kept.send(kSilentPage, [](bool) {}); }));
  });
  using Settings = bench::BareClient::Settings;
  for (const Settings settings : {Settings::ofTheSdk, Settings::usual}) {
    bench::figure(
        settings == Settings::usual ? "  of bare libcurl, with connections that it opened again for some"
                                    : "  of bare libcurl with the same buffers",
        [&, settings] {
          auto* const bare =  // never destroyed: its requests never end
              new bench::BareClient(kHost, keeping.port, keeping.caFile,
                                    bench::BareClient::Completions::onTheTransferThread, settings);
          Pair::floor(*bare, 64, 64, kLatePage);
          return text("%.1f KB",
                      kilobytesInFlight(64, [&] { bare->get(kSilentPage, [](const std::string&) {}); }));
        });
  }
  bench::figure("heap of each of 1000 further requests", [&] {
    return text("%.1f KB", kilobytesInFlight(1000, [&] { kept.send(kSilentPage, [](bool) {}); }));
  });
  const int status = bench::run(argc, argv);
  std::filesystem::remove_all(folder);
  _exit(status);  // with requests in flight
}

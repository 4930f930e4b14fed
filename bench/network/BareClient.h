#pragma once

#include <curl/curl.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace bench {

/// The floor: a bare libcurl multi handle on a thread of its own. Requests are passed to the thread, and
/// bodies to a function. Caches its parsed CA store, but does nothing else that a client library has to do.
class BareClient {
 public:
  /// Where completions run. One that blocks on the transfer thread delays every transfer, which is why a
  /// client library needs another thread for its host's functions.
  enum class Completions { onTheTransferThread, onAThreadOfTheirOwn };

  /// libcurl's defaults, or the SDK's buffer sizes and number of cached connections. By default libcurl
  /// closes connections in excess of four times the remaining requests.
  enum class Settings { usual, ofTheSdk };

  /// Requests to https://HOST/ go to a port of this machine.
  BareClient(std::string host, std::uint16_t port, std::string caFile,
             Completions completions = Completions::onTheTransferThread, Settings settings = Settings::usual);
  ~BareClient();
  BareClient(const BareClient&) = delete;
  BareClient& operator=(const BareClient&) = delete;

  void get(const char* path, std::function<void(std::string)> completion);

 private:
  struct Transfer {
    const char* path;
    std::function<void(std::string)> completion;
    std::string body;
  };

  void run();
  void start(Transfer* transfer);
  void complete(Transfer* transfer);
  void runCompletions();

  const std::string host_;
  const std::string caFile_;
  const Settings settings_;
  curl_slist* connectTo_;
  CURLM* const multi_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Transfer*> waiting_;
  std::vector<Transfer*> complete_;
  bool ends_ = false;
  std::thread completions_;  // if they have their own
  std::thread thread_;
};

}  // namespace bench

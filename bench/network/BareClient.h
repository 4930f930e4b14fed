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

/// The floor: a bare libcurl multi handle on a thread of its own. A request is handed over to the thread, and
/// its body back to a function. It keeps its parsed CA store, and does nothing else that a client library has
/// to do.
class BareClient {
 public:
  /// Where the functions run. One that waits holds up every transfer on the transfers' own thread, which is
  /// why a client library has to give the functions of its hosts another.
  enum class Completions { onTheTransferThread, onAThreadOfTheirOwn };

  /// libcurl's own, or the buffers and the number of kept connections that the SDK asks for. By itself
  /// libcurl closes connections that outnumber four times the requests that are left.
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
  std::thread completions_;  // where they have one of their own
  std::thread thread_;
};

}  // namespace bench

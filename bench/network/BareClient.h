// SPDX-License-Identifier: Apache-2.0
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

/// The lower bound: a bare libcurl multi handle on a thread of its own. A request is passed to the thread,
/// and its body to a function. It keeps the parsed CA store, and does nothing else that a client library must
/// do.
class BareClient {
 public:
  /// Where the functions run. On the thread of the transfers, a function that waits delays every transfer, so
  /// a client library must run its hosts' functions on another thread.
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
  std::thread completions_;  // if they have a thread of their own
  std::thread thread_;
};

}  // namespace bench

// SPDX-License-Identifier: Apache-2.0
#include "BareClient.h"

#include <utility>

#include "tidewell/posix/internal/curl/CurlEngine.h"

namespace bench {
namespace {

using tidewell::posix::CurlEngine;
using tidewell::posix::CurlTransfer;

CURLM* makeMulti(BareClient::Settings settings) {
  CURLM* const multi = curl_multi_init();
  if (settings == BareClient::Settings::ofTheSdk) {
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, static_cast<long>(CurlEngine::kMaximumAtOnce));
  }
  return multi;
}

}  // namespace

BareClient::BareClient(std::string host, std::uint16_t port, std::string caFile, Completions completions,
                       Settings settings)
    : host_(std::move(host)),
      caFile_(std::move(caFile)),
      settings_(settings),
      connectTo_(curl_slist_append(nullptr, (host_ + ":443:127.0.0.1:" + std::to_string(port)).c_str())),
      multi_(makeMulti(settings)),
      completions_(completions == Completions::onAThreadOfTheirOwn ? std::thread([this] { runCompletions(); })
                                                                   : std::thread()),
      thread_([this] { run(); }) {}

BareClient::~BareClient() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  curl_multi_wakeup(multi_);
  thread_.join();
  changed_.notify_one();
  if (completions_.joinable()) completions_.join();
  curl_multi_cleanup(multi_);
  curl_slist_free_all(connectTo_);
}

void BareClient::get(const char* path, std::function<void(std::string)> completion) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(new Transfer{path, std::move(completion), {}});
  }
  curl_multi_wakeup(multi_);
}

void BareClient::start(Transfer* transfer) {
  CURL* const curl = curl_easy_init();
  curl_easy_setopt(curl, CURLOPT_URL, ("https://" + host_ + transfer->path).c_str());
  curl_easy_setopt(curl, CURLOPT_PRIVATE, transfer);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  if (settings_ == Settings::ofTheSdk) {
    curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, CurlTransfer::kReceiveBufferBytes);
    curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, CurlTransfer::kSendBufferBytes);
  }
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connectTo_);
  curl_easy_setopt(curl, CURLOPT_CAINFO, caFile_.c_str());
  curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(curl, CURLOPT_CA_CACHE_TIMEOUT, -1L);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer->body);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION,
                   static_cast<std::size_t (*)(char*, std::size_t, std::size_t, void*)>(
                       [](char* bytes, std::size_t size, std::size_t count, void* body) {
                         static_cast<std::string*>(body)->append(bytes, size * count);
                         return size * count;
                       }));
  curl_multi_add_handle(multi_, curl);
}

void BareClient::run() {
  for (;;) {
    std::vector<Transfer*> arrived;
    {
      const std::lock_guard lock(mutex_);
      if (ends_) return;
      arrived.swap(waiting_);
    }
    for (Transfer* transfer : arrived) start(transfer);
    int running = 0;
    curl_multi_perform(multi_, &running);
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      CURL* const curl = message->easy_handle;
      Transfer* transfer = nullptr;
      curl_easy_getinfo(curl, CURLINFO_PRIVATE, &transfer);
      curl_multi_remove_handle(multi_, curl);
      curl_easy_cleanup(curl);
      complete(transfer);
    }
    curl_multi_poll(multi_, nullptr, 0, 60'000, nullptr);
  }
}

void BareClient::complete(Transfer* transfer) {
  if (!completions_.joinable()) {
    transfer->completion(std::move(transfer->body));
    delete transfer;
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    complete_.push_back(transfer);
  }
  changed_.notify_one();
}

void BareClient::runCompletions() {
  for (;;) {
    std::vector<Transfer*> arrived;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return ends_ || !complete_.empty(); });
      if (ends_) return;
      arrived.swap(complete_);
    }
    for (Transfer* transfer : arrived) {
      transfer->completion(std::move(transfer->body));
      delete transfer;
    }
  }
}

}  // namespace bench

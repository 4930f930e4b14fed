// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/CurlEngine.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <tuple>

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/posix/internal/UrlErrors.h"
#include "tidewell/posix/internal/curl/ExitLock.h"
#include "tidewell/posix/internal/curl/WakeUpSockets.h"

namespace tidewell::posix {
namespace {

/// Connections kept for reuse: as many as a burst may open.
constexpr long kKeptConnections = CurlEngine::kMaximumAtOnce;

using ConnectToList = std::unique_ptr<curl_slist, void (*)(curl_slist*)>;

/// Raises if out of memory: a request must not be sent to the address that was to be overridden.
ConnectToList connectToList(const std::vector<ConnectionOverride>& overrides) {
  ConnectToList list(nullptr, curl_slist_free_all);
  for (const ConnectionOverride& entry : overrides) {
    const bool isIpv6 = entry.address.find(':') != std::string::npos;
    const std::string address = isIpv6 ? "[" + entry.address + "]" : entry.address;
    const std::string line =
        entry.host + ":" + std::to_string(entry.port) + ":" + address + ":" + std::to_string(entry.toPort);
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
  }
  return list;
}

/// libcurl counts its initialisations, so the host may use it, too. There is no matching cleanup, which would
/// pull libcurl from under the host. If this fails (out of memory), the next request tries again. Call with
/// the exit lock held.
bool initializeLibcurl() {
  constinit static bool initialized = false;
  if (!initialized) {
    initialized = holdExitLockWhenOpenSslEnds() && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  }
  return initialized;
}

}  // namespace

CurlEngine* CurlEngine::make(TransferClient& client, const TransportSettings& settings,
                             std::string& problem) {
  const base::MutexLock lock(exitLock());
  if (!initializeLibcurl()) {
    problem = "the URL session cannot start: libcurl cannot be initialised";
    return nullptr;
  }
  ConnectToList connectTo = connectToList(settings.connectionOverrides);
  std::unique_ptr<CURLM, CURLMcode (*)(CURLM*)> multi(makeMultiHandle(), curl_multi_cleanup);
  std::unique_ptr<CURLSH, CURLSHcode (*)(CURLSH*)> share(curl_share_init(), curl_share_cleanup);
  const bool isReady =
      multi != nullptr && share != nullptr &&
      curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, kKeptConnections) == CURLM_OK &&
      curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE) == CURLSHE_OK &&
      curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION) == CURLSHE_OK;
  if (!isReady) {
    problem = "the URL session cannot start: no memory or no descriptor for libcurl";
    return nullptr;
  }
  auto* const engine = new CurlEngine(client, settings, multi.get(), share.get(), connectTo.get());
  static_cast<void>(multi.release());
  static_cast<void>(share.release());
  static_cast<void>(connectTo.release());
  return engine;
}

CurlEngine::CurlEngine(TransferClient& client, const TransportSettings& settings, CURLM* multi, CURLSH* share,
                       curl_slist* connectTo)
    : client_(client), multi_(multi), environment_{settings, connectTo, share, sockets_, std::nullopt} {}

TransferTasks CurlEngine::run() noexcept {
  for (;;) {
    TransferTasks tasks = client_.takeTasks();
    {
      const base::MutexLock lock(exitLock());
      while (!tasks.empty()) admit(tasks);
      startWaiting();
      int running = 0;
      curl_multi_perform(multi_, &running);
      takeReplies();
      endWhatIsDue();  // after reading: replies may be waiting after the process was stopped
      startWaiting();
    }
    if (!finished_.empty()) return std::exchange(finished_, {});
    sleep();
  }
}

void CurlEngine::wake() noexcept { curl_multi_wakeup(multi_); }

void CurlEngine::sleep() noexcept {
  int milliseconds = INT_MAX;
  if (!due_.empty()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due_.begin()->first - Clock::now());
    milliseconds = static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
  }
  if (curl_multi_poll(multi_, nullptr, 0, milliseconds, nullptr) != CURLM_OK) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // out of memory: avoid a busy loop
  }
}

void CurlEngine::admit(TransferTasks& tasks) noexcept {
  std::unique_ptr<CurlTransfer> owned;
  Clock::time_point due;
  try {
    owned = std::make_unique<CurlTransfer>(tasks.front(), environment_);
    due = owned->due();
    Entry& entry = transfers_[owned.get()];
    due_.emplace(due, owned.get());
    loads_[owned->session()].waiting.push_back(owned.get());
    owned->takeFrom(tasks);
    entry = {std::move(owned), due};
  } catch (const std::exception&) {
    due_.erase({due, owned.get()});
    transfers_.erase(owned.get());
    finished_.splice(finished_.end(), tasks, tasks.begin());
  }
}

void CurlEngine::startWaiting() noexcept {
  for (auto& [session, load] : loads_) {
    while (load.running < kMaximumAtOnce && !load.waiting.empty()) {
      CurlTransfer& transfer = *load.waiting.front();
      load.waiting.pop_front();
      ++load.running;
      request(transfer);
    }
  }
  std::erase_if(loads_, [](const auto& entry) { return entry.second.running == 0; });
}

void CurlEngine::request(CurlTransfer& transfer) noexcept {
  std::optional<base::Error> error;
  bool isReady = false;
  try {
    error = transfer.prepare();
    isReady = !error && curl_multi_add_handle(multi_, transfer.handle()) == CURLM_OK;
  } catch (const std::exception&) {
  }
  if (isReady) return reschedule(transfer);
  finish(transfer, [&] { return error ? transfer.failure(std::move(*error)) : throw std::bad_alloc(); });
}

void CurlEngine::takeReplies() noexcept {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    void* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    replyEnded(*static_cast<CurlTransfer*>(transfer), message->data.result);
  }
}

void CurlEngine::replyEnded(CurlTransfer& transfer, CURLcode code) noexcept {
  if (code == CURLE_PEER_FAILED_VERIFICATION) {
    environment_.certificateFailed = Clock::now();
  } else if (code == CURLE_OK && transfer.hasReplacedStore()) {
    environment_.certificateFailed.reset();
  }
  bool goesOn = false;
  std::optional<base::Error> error;
  try {
    transfer.boundCookies();
    std::tie(goesOn, error) = transfer.follow(code);
  } catch (const std::exception&) {
    code = CURLE_OUT_OF_MEMORY;
  }
  if (!goesOn) {
    finish(transfer, [&] { return error ? transfer.failure(std::move(*error)) : transfer.result(code); });
    return;
  }
  curl_multi_remove_handle(multi_, transfer.handle());
  request(transfer);
}

void CurlEngine::endWhatIsDue() noexcept {
  const Clock::time_point now = Clock::now();
  while (!due_.empty() && due_.begin()->first <= now) {
    CurlTransfer& transfer = *due_.begin()->second;
    transfer.noteBytesOnTheWire();
    if (transfer.due() <= now) {
      finish(transfer, [&] { return transfer.failure(urlError(platform::kUrlErrorTimedOut)); });
    } else {
      reschedule(transfer);
    }
  }
}

void CurlEngine::reschedule(CurlTransfer& transfer) noexcept {
  Entry& entry = transfers_.find(&transfer)->second;
  auto place = due_.extract({entry.due, &transfer});
  entry.due = transfer.due();
  place.value().first = entry.due;
  due_.insert(std::move(place));
}

template <class Result>
void CurlEngine::finish(CurlTransfer& transfer, Result result) noexcept {
  try {
    transfer.setResult(result());
  } catch (const std::exception&) {
  }
  Load& load = loads_.find(transfer.session())->second;
  const auto waiting = std::find(load.waiting.begin(), load.waiting.end(), &transfer);
  if (waiting != load.waiting.end()) {
    load.waiting.erase(waiting);
  } else {
    --load.running;
  }
  if (transfer.handle() != nullptr) curl_multi_remove_handle(multi_, transfer.handle());
  transfer.moveTo(finished_);
  const auto entry = transfers_.find(&transfer);
  due_.erase({entry->second.due, &transfer});
  transfers_.erase(entry);
}

}  // namespace tidewell::posix

extern "C" tidewell::posix::TransferEngine* tidewell_make_transfer_engine(
    const char* version, tidewell::posix::TransferClient& client,
    const tidewell::posix::TransportSettings& settings, std::string& problem) noexcept {
  if (std::string_view(version) != TIDEWELL_VERSION_STRING) {
    problem = "the URL session cannot be loaded: it is of version " TIDEWELL_VERSION_STRING
              ", the platform of version " +
              std::string(version);
    return nullptr;
  }
  try {
    return tidewell::posix::CurlEngine::make(client, settings, problem);
  } catch (const std::exception&) {
    problem = tidewell::posix::kOutOfMemory;
    return nullptr;
  }
}

#include "tidewell/posix/curl/CurlEngine.h"

#include <algorithm>
#include <climits>
#include <mutex>
#include <thread>

#include "tidewell/posix/UrlErrors.h"
#include "tidewell/posix/curl/ExitLock.h"
#include "tidewell/posix/curl/WakeUpSockets.h"

namespace tidewell::posix {
namespace {

/// Connections kept for later requests; what one burst may open.
constexpr long kKeptConnections = CurlEngine::kMaximumAtOnce;

curl_slist* connectToList(const std::vector<ConnectionOverride>& overrides) {
  curl_slist* list = nullptr;
  for (const ConnectionOverride& entry : overrides) {
    const bool isIpv6 = entry.address.find(':') != std::string::npos;
    const std::string address = isIpv6 ? "[" + entry.address + "]" : entry.address;
    const std::string line =
        entry.host + ":" + std::to_string(entry.port) + ":" + address + ":" + std::to_string(entry.toPort);
    curl_slist* const longer = curl_slist_append(list, line.c_str());
    if (longer != nullptr) list = longer;
  }
  return list;
}

/// libcurl's own use is counted, so a host may use it, too, before and after; it is never given up, for that
/// would pull it from under the host.
bool initializeLibcurl() {
  static const bool initialized = [] {
    return holdExitLockWhenOpenSslEnds() && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  }();
  return initialized;
}

}  // namespace

CurlEngine* CurlEngine::make(TransferClient& client, const TransportSettings& settings,
                             std::string& problem) {
  const std::lock_guard lock(exitLock());
  if (!initializeLibcurl()) {
    problem = "the URL session cannot start: libcurl cannot be initialised";
    return nullptr;
  }
  CURLM* const multi = makeMultiHandle();
  CURLSH* const share = curl_share_init();
  if (multi == nullptr || share == nullptr) {
    if (multi != nullptr) curl_multi_cleanup(multi);
    if (share != nullptr) curl_share_cleanup(share);
    problem = "the URL session cannot start: no memory or no descriptor for libcurl";
    return nullptr;
  }
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kKeptConnections);
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  return new CurlEngine(client, settings, multi, share);
}

CurlEngine::CurlEngine(TransferClient& client, const TransportSettings& settings, CURLM* multi, CURLSH* share)
    : client_(client),
      multi_(multi),
      environment_{settings, connectToList(settings.connectionOverrides), share, sockets_} {}

std::vector<FinishedTask> CurlEngine::run() noexcept {
  for (;;) {
    std::vector<TransferTask> tasks = client_.takeTasks();
    {
      const std::lock_guard lock(exitLock());
      for (TransferTask& task : tasks) admit(std::move(task));
      startWaiting();
      int running = 0;
      curl_multi_perform(multi_, &running);
      takeReplies();
      endWhatIsDue();  // after what has arrived was read: a process that was stopped finds it in the sockets
      startWaiting();
    }
    if (!finished_.empty()) return std::exchange(finished_, {});
    sleep();
  }
}

void CurlEngine::wake() noexcept { curl_multi_wakeup(multi_); }

void CurlEngine::sleep() {
  int milliseconds = INT_MAX;
  if (!due_.empty()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due_.begin()->first - Clock::now());
    milliseconds = static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
  }
  if (curl_multi_poll(multi_, nullptr, 0, milliseconds, nullptr) != CURLM_OK) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));  // no memory: do not spin meanwhile
  }
}

void CurlEngine::admit(TransferTask task) {
  auto owned = std::make_unique<CurlTransfer>(std::move(task), environment_);
  CurlTransfer& transfer = *owned;
  const Clock::time_point due = transfer.due();
  transfers_.emplace(&transfer, Entry{std::move(owned), due});
  due_.emplace(due, &transfer);
  loads_[transfer.session()].waiting.push_back(&transfer);
}

void CurlEngine::startWaiting() {
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

void CurlEngine::request(CurlTransfer& transfer) {
  if (auto error = transfer.prepare()) {
    finish(transfer, transfer.failure(std::move(*error)));
    return;
  }
  if (curl_multi_add_handle(multi_, transfer.handle()) != CURLM_OK) {
    finish(transfer, transfer.failure(urlError(platform::kUrlErrorUnknown, "out of memory")));
    return;
  }
  reschedule(transfer);
}

void CurlEngine::takeReplies() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    void* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    replyEnded(*static_cast<CurlTransfer*>(transfer), message->data.result);
  }
}

void CurlEngine::replyEnded(CurlTransfer& transfer, CURLcode code) {
  transfer.boundCookies();
  auto [goesOn, error] = transfer.follow(code);
  if (!goesOn) {
    finish(transfer, error ? transfer.failure(std::move(*error)) : transfer.result(code));
    return;
  }
  curl_multi_remove_handle(multi_, transfer.handle());
  request(transfer);
}

void CurlEngine::endWhatIsDue() {
  const Clock::time_point now = Clock::now();
  while (!due_.empty() && due_.begin()->first <= now) {
    CurlTransfer& transfer = *due_.begin()->second;
    transfer.noteBytesOnTheWire();
    if (transfer.due() <= now) {
      finish(transfer, transfer.failure(urlError(platform::kUrlErrorTimedOut)));
    } else {
      reschedule(transfer);
    }
  }
}

void CurlEngine::reschedule(CurlTransfer& transfer) {
  Entry& entry = transfers_.at(&transfer);
  due_.erase({entry.due, &transfer});
  entry.due = transfer.due();
  due_.emplace(entry.due, &transfer);
}

void CurlEngine::finish(CurlTransfer& transfer, platform::UrlTaskResult result) {
  Load& load = loads_[transfer.session()];
  const auto waiting = std::find(load.waiting.begin(), load.waiting.end(), &transfer);
  if (waiting != load.waiting.end()) {
    load.waiting.erase(waiting);
  } else {
    --load.running;
  }
  if (transfer.handle() != nullptr) curl_multi_remove_handle(multi_, transfer.handle());
  finished_.push_back({transfer.takeCompletion(), std::move(result)});
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
  return tidewell::posix::CurlEngine::make(client, settings, problem);
}

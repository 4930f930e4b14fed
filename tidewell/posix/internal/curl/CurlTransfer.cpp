// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/CurlTransfer.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <new>
#include <string_view>

#include "tidewell/base/Data.h"
#include "tidewell/base/internal/Ascii.h"
#include "tidewell/posix/internal/UrlErrors.h"
#include "tidewell/posix/internal/curl/CurlErrors.h"
#include "tidewell/posix/internal/curl/Redirect.h"
#include "tidewell/posix/internal/curl/TlsLayer.h"

namespace tidewell::posix {
namespace {

using base::detail::equalsIgnoringCase;
using base::detail::trimmed;

/// The most memory reserved for a body because of its Content-Length; beyond that the buffer grows as needed.
constexpr curl_off_t kMaximumReserve = 256 << 10;

/// Cookies last as long as the process, and a server may set fifty with each reply.
constexpr std::size_t kMaximumCookies = 500;

/// By how much a reply on the wire may exceed its header lines and body. Covers TLS records and chunks of a
/// server that sends byte by byte, chunk extensions, session tickets and key updates.
constexpr std::uint64_t kMaximumOverhead = 512 << 10;
constexpr std::uint64_t kMaximumWireFactor = 256;
/// By how much it may exceed the largest accepted body: a body may be larger than what it decodes to.
constexpr std::uint64_t kMaximumAcceptedFactor = 2;

/// The traffic of requests that take less time is not checked.
constexpr std::chrono::milliseconds kUsualDuration{100};

/// Longer time limits count as none.
constexpr double kLongestBoundSeconds = 10.0 * 365 * 24 * 3600;

CurlTransfer::Clock::duration boundOf(double seconds) {
  if (!(seconds > 0) || seconds > kLongestBoundSeconds) seconds = kLongestBoundSeconds;
  return std::chrono::duration_cast<CurlTransfer::Clock::duration>(std::chrono::duration<double>(seconds));
}

/// libcurl generates these headers from what it really sends; other values would desynchronise the two ends.
bool isMadeByLibcurl(std::string_view name) {
  constexpr std::string_view names[] = {"Connection", "Content-Length", "Expect", "Host",
                                        "Transfer-Encoding"};
  return std::any_of(std::begin(names), std::end(names),
                     [name](std::string_view made) { return equalsIgnoringCase(made, name); });
}

/// Checked because the method is written to the request line as is.
bool isMethod(std::string_view method) {
  return !method.empty() && std::all_of(method.begin(), method.end(), [](char c) {
    return base::detail::isAsciiLetter(c) || base::detail::isAsciiDigit(c) || c == '-' || c == '_';
  });
}

const char* orNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

}  // namespace

CurlTransfer::CurlTransfer(const TransferTask& task, const CurlEnvironment& environment)
    : task_(task), environment_(environment) {
  if (task_.request.URL()) url_ = task_.request.URL()->absoluteString();
  method_ = task_.request.HTTPMethod().empty() ? "GET" : task_.request.HTTPMethod();
  sendsBody_ = task_.request.HTTPBody().has_value();
}

CurlTransfer::~CurlTransfer() = default;

std::optional<base::Error> CurlTransfer::prepare() {
  head_.clear();
  decoder_.reset();
  body_.clear();
  bytesCounted_ = 0;
  ends_ = {};
  sentAt_.reset();
  if (!isMethod(method_)) return urlError(platform::kUrlErrorBadUrl, "method");
  if (auto error = refusal(url_, session()->httpsOnly)) return error;
  if (!handle_) {
    handle_.reset(curl_easy_init());
    if (!handle_) return urlError(platform::kUrlErrorUnknown, "out of memory");
    setOnce();
  }
  const CURLcode isUrl = curl_easy_setopt(handle(), CURLOPT_URL, url_.c_str());
  if (isUrl == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (isUrl != CURLE_OK) return urlError(platform::kUrlErrorBadUrl);
  setStoreLifetime();
  setMethodAndBody();
  setProxy();
  if (!setHeaders()) return urlError(platform::kUrlErrorUnknown, "out of memory");
  curl_easy_setopt(handle(), CURLOPT_FRESH_CONNECT, needsNewConnection_ ? 1L : 0L);
  needsNewConnection_ = false;
  curlDetail_[0] = '\0';
  noteProgress();
  return std::nullopt;
}

template <class Setting>
void CurlTransfer::set(CURLoption option, Setting setting) {
  if (curl_easy_setopt(handle(), option, setting) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

void CurlTransfer::setOnce() {
  const TransportSettings& settings = environment_.settings;
  set(CURLOPT_PRIVATE, this);
  set(CURLOPT_SHARE, environment_.share);
  set(CURLOPT_NOSIGNAL, 1L);
  // A DNS look-up that hangs must not block the thread when its transfer is cancelled.
  set(CURLOPT_QUICK_EXIT, 1L);
  set(CURLOPT_ERRORBUFFER, curlDetail_);

  // Destinations. Redirects are handled by `follow`, which also drops headers.
  const char* schemes = session()->httpsOnly ? "https" : "http,https";
  set(CURLOPT_PROTOCOLS_STR, schemes);
  set(CURLOPT_REDIR_PROTOCOLS_STR, schemes);
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_CONNECT_TO, environment_.connectTo);
  environment_.sockets.attach(handle());
  set(CURLOPT_PREREQFUNCTION, beforeRequest);
  set(CURLOPT_PREREQDATA, this);
  // Not HTTP/2: with libcurl 7.88, transfers that share a connection stall. In one run of six, ten
  // simultaneous downloads of 3 MB from a correct server stalled for seconds or forever.
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));

  // Trust. libcurl keeps a parsed CA store only without a CA folder.
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_CAINFO, orNull(settings.caFile));
  set(CURLOPT_CAPATH, orNull(settings.caDirectory));
  set(CURLOPT_PROXY_CAINFO, orNull(settings.proxyCaFile));
  set(CURLOPT_PROXY_CAPATH, orNull(settings.proxyCaDirectory));
  tightenTls(handle());

  // Receiving.
  set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate, br");
  set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
  set(CURLOPT_COOKIEFILE, "");
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(CURLOPT_HEADERFUNCTION, receiveHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, receiveBody);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, countBytes);
  set(CURLOPT_XFERINFODATA, this);
  set(CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
  set(CURLOPT_UPLOAD_BUFFERSIZE, kSendBufferBytes);
  // The engine limits the time without progress, connecting included; libcurl's own limit of 300 s must not
  // apply first.
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(INT_MAX / 2));
}

void CurlTransfer::setStoreLifetime() {
  constexpr long kForever = -1, kOneSecond = 1, kParseAndKeepNone = 0;
  const auto& failed = environment_.certificateFailed;
  // libcurl counts in whole seconds, and the store that failed may be younger than one.
  const bool isOld = failed && Clock::now() - *failed > std::chrono::seconds(kOneSecond);
  replacesStoreOf_ = isOld ? failed : std::nullopt;
  set(CURLOPT_CA_CACHE_TIMEOUT, isOld ? kOneSecond : failed ? kParseAndKeepNone : kForever);
}

bool CurlTransfer::hasReplacedStore() const {
  long newConnections = 0;
  curl_easy_getinfo(handle(), CURLINFO_NUM_CONNECTS, &newConnections);
  return replacesStoreOf_ && replacesStoreOf_ == environment_.certificateFailed && usesTls() &&
         newConnections > 0;
}

void CurlTransfer::setMethodAndBody() {
  const bool needsLength = sendsBody_ || method_ == "POST" || method_ == "PUT" || method_ == "PATCH";
  if (needsLength) {
    const std::string_view body = sendsBody_ ? std::string_view(*task_.request.HTTPBody()) : "";
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    set(CURLOPT_POSTFIELDS, body.data());
  } else {
    set(CURLOPT_HTTPGET, 1L);
    set(CURLOPT_NOBODY, method_ == "HEAD" ? 1L : 0L);
  }
  set(CURLOPT_CUSTOMREQUEST, method_.c_str());
}

void CurlTransfer::setProxy() {
  const TransportSettings& settings = environment_.settings;
  // Always set: libcurl reads the environment for settings that are not.
  const std::string& proxy = usesTls() ? settings.httpsProxy : settings.httpProxy;
  set(CURLOPT_PROXY, proxy.c_str());
  set(CURLOPT_NOPROXY, settings.noProxy.c_str());
  // With nested TLS layers libcurl gives access to the inner one only.
  const bool hasTwoLayers = usesTls() && equalsIgnoringCase(proxy.substr(0, 6), "https:");
  set(CURLOPT_FORBID_REUSE, hasTwoLayers ? 1L : 0L);
}

bool CurlTransfer::setHeaders() {
  headers_.reset();
  const auto append = [this](const std::string& line) {
    curl_slist* const list = curl_slist_append(headers_.get(), line.c_str());
    if (list == nullptr) return false;
    static_cast<void>(headers_.release());
    headers_.reset(list);
    return true;
  };
  bool complete = append("Expect:");  // do not wait a second for "100 Continue"
  for (const auto& [name, value] : task_.request.allHTTPHeaderFields()) {
    if (isMadeByLibcurl(name) || !mayTravel(name)) continue;
    // libcurl omits a header without a value unless it ends in a semicolon.
    complete = complete && append(trimmed(value).empty() ? name + ";" : name + ": " + value);
  }
  set(CURLOPT_HTTPHEADER, headers_.get());
  return complete;
}

bool CurlTransfer::mayTravel(const std::string& headerName) const {
  const bool describesBody = equalsIgnoringCase(headerName.substr(0, 8), "Content-");
  if (describesBody && redirects_ > 0 && !sendsBody_) return false;
  if (!leftItsHost_) return true;
  const std::vector<std::string>& bound = session()->headersBoundToHost;
  return !isHeaderOfAuthorisation(headerName) &&
         std::none_of(bound.begin(), bound.end(),
                      [&](const std::string& name) { return equalsIgnoringCase(name, headerName); });
}

CurlTransfer::Clock::time_point CurlTransfer::due() const {
  const Clock::time_point endOfLife = task_.handedOver + boundOf(session()->timeoutIntervalForResource);
  if (!handle_) return endOfLife;
  return std::min(endOfLife, lastProgress_ + boundOf(session()->timeoutIntervalForRequest));
}

void CurlTransfer::noteBytesOnTheWire() {
  if (const auto traffic = environment_.sockets.traffic(ends_)) {
    lastProgress_ = std::max(lastProgress_, Clock::now() - traffic->silence);
  }
}

bool CurlTransfer::usesTls() const { return equalsIgnoringCase(url_.substr(0, 6), "https:"); }

void CurlTransfer::boundCookies() {
  if (!head_.hasField("Set-Cookie")) return;
  curl_slist* cookies = nullptr;
  curl_easy_getinfo(handle(), CURLINFO_COOKIELIST, &cookies);
  const std::unique_ptr<curl_slist, ListCleanup> owner(cookies);
  std::size_t count = 0;
  for (; cookies != nullptr; cookies = cookies->next) ++count;
  if (count > kMaximumCookies) curl_easy_setopt(handle(), CURLOPT_COOKIELIST, "ALL");
}

std::pair<bool, std::optional<base::Error>> CurlTransfer::follow(CURLcode code) {
  if (needsNewConnection_) return {true, std::nullopt};
  long status = 0;
  char* target = nullptr;
  curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  if (code != CURLE_OK || !isRedirect(status)) return {false, std::nullopt};
  curl_easy_getinfo(handle(), CURLINFO_REDIRECT_URL, &target);
  if (target == nullptr) return {false, std::nullopt};
  if (redirects_ == kMaximumRedirects) return {false, urlError(platform::kUrlErrorHttpTooManyRedirects)};
  std::string next = target;
  if (auto error = refusal(next, session()->httpsOnly)) return {false, std::move(error)};
  std::string method = methodAfterRedirect(status, method_);
  const bool sendsBody = sendsBody_ && method == method_;
  const bool leavesItsHost = !haveSameOrigin(url_, next);
  // The body was meant for its host only: the redirect itself is the result.
  if (sendsBody && leavesItsHost) return {false, std::nullopt};
  ++redirects_;
  // Dropped headers stay dropped, even if a later redirect leads back.
  leftItsHost_ = leftItsHost_ || leavesItsHost;
  url_ = std::move(next);
  sendsBody_ = sendsBody;
  method_ = std::move(method);
  return {true, std::nullopt};
}

platform::UrlTaskResult CurlTransfer::result(CURLcode code) {
  if (refused_) return failure(std::move(*refused_));
  if (code != CURLE_OK) return failure(errorOfCurl(code, handle(), curlDetail_, environment_.settings));
  if (auto flaw = flawOfReply()) return failure(std::move(*flaw));
  platform::UrlTaskResult result = failure({});
  result.error.reset();
  result.data.emplace(std::move(body_));
  return result;
}

platform::UrlTaskResult CurlTransfer::failure(base::Error error) {
  platform::UrlTaskResult result;
  result.error = std::move(error);
  long status = 0;
  if (handle_) curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  if (status < 200 || !head_.isComplete()) return result;  // no reply, or only an interim one
  result.response.emplace();
  result.response->url = url_;
  result.response->statusCode = status;
  result.response->headers = head_.fields();
  return result;
}

std::size_t CurlTransfer::receiveHeader(char* bytes, std::size_t size, std::size_t count,
                                        void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.noteProgress();
  try {
    if (transfer.head_.addLine({bytes, size * count})) return size * count;
    transfer.refused_ = urlError(platform::kUrlErrorDataLengthExceedsMaximum, "header");
  } catch (...) {  // out of memory; libcurl reports a failed callback
  }
  return 0;
}

std::size_t CurlTransfer::receiveBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.noteProgress();
  try {
    bool fits = true;
    if (!transfer.decoder_) {
      fits = transfer.decoder_.emplace().begin(transfer.head_.fields());
      curl_off_t announced = -1;
      curl_easy_getinfo(transfer.handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
      if (announced > 0)
        transfer.body_.reserve(static_cast<std::size_t>(std::min(announced, kMaximumReserve)));
    }
    fits = fits && transfer.decoder_->decode({bytes, size * count}, [&](std::string_view decoded) {
      return transfer.appendToBody(decoded);
    });
    if (fits) return size * count;
    if (!transfer.refused_) transfer.refused_ = urlError(platform::kUrlErrorCannotDecodeContentData);
  } catch (...) {  // out of memory
  }
  return 0;
}

bool CurlTransfer::appendToBody(std::string_view bytes) {
  if (bytes.size() > session()->maximumBodyBytes - body_.size()) {
    refused_ = urlError(platform::kUrlErrorDataLengthExceedsMaximum);
    return false;
  }
  body_.append(bytes);
  return true;
}

std::optional<base::Error> CurlTransfer::flawOfReply() const {
  // libcurl decodes transfer codings other than "chunked" without checking their end. Servers must not use
  // them unasked.
  for (const auto& [name, value] : head_.fields()) {
    if (equalsIgnoringCase(name, "Transfer-Encoding") && !equalsIgnoringCase(value, "chunked")) {
      return urlError(platform::kUrlErrorBadServerResponse, "transfer coding");
    }
  }
  if (!decoder_ || decoder_->isComplete()) return std::nullopt;
  return urlError(platform::kUrlErrorCannotDecodeContentData, "the body is cut off");
}

int CurlTransfer::countBytes(void* self, curl_off_t, curl_off_t received, curl_off_t,
                             curl_off_t sent) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  if (received + sent != transfer.bytesCounted_) {
    transfer.bytesCounted_ = received + sent;
    transfer.noteProgress();
  }
  try {
    if (!transfer.receivesTooMuch(static_cast<std::uint64_t>(received))) return 0;
    transfer.refused_ = urlError(platform::kUrlErrorDataLengthExceedsMaximum);
  } catch (...) {  // out of memory; libcurl reports a failed callback
  }
  return 1;
}

bool CurlTransfer::receivesTooMuch(std::uint64_t bodyBytes) const {
  if (!sentAt_ || Clock::now() - *sentAt_ < kUsualDuration) return false;
  const auto traffic = environment_.sockets.traffic(ends_);
  if (!traffic) return false;
  const std::uint64_t received = traffic->read - std::min(readBefore_, traffic->read);
  if (received > kMaximumOverhead + kMaximumWireFactor * (head_.bytes() + bodyBytes)) return true;
  const std::uint64_t accepted = session()->maximumBodyBytes;
  const std::uint64_t share = received / kMaximumAcceptedFactor;
  return share > accepted && share - accepted > ResponseHead::kMaximumBytes;
}

int CurlTransfer::beforeRequest(void* self, char* remoteAddress, char* localAddress, int remotePort,
                                int localPort) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.noteProgress();
  try {
    if (transfer.mayUseConnection({localAddress, remoteAddress, localPort, remotePort})) {
      return CURL_PREREQFUNC_OK;
    }
  } catch (...) {  // out of memory; libcurl reports a failed callback
  }
  return CURL_PREREQFUNC_ABORT;
}

bool CurlTransfer::mayUseConnection(OpenSockets::Ends ends) {
  if (sentAt_) {
    // A reused connection was lost before the reply, and libcurl retries on a new one. The server may already
    // have the request.
    refused_ = urlError(platform::kUrlErrorNetworkConnectionLost);
    return false;
  }
  ends_ = std::move(ends);
  long newConnections = 0;
  curl_easy_getinfo(handle(), CURLINFO_NUM_CONNECTS, &newConnections);
  // Unread bytes on a reused connection must not become the reply (RFC 9112, section 6.3).
  const auto isQuiet = [this] {
    return isTlsLayerQuiet(handle(), usesTls()) && environment_.sockets.isQuiet(ends_);
  };
  if (newConnections == 0 && !isQuiet()) {
    needsNewConnection_ = true;
    return false;
  }
  sentAt_ = Clock::now();
  const auto traffic = environment_.sockets.traffic(ends_);
  readBefore_ = traffic ? traffic->read : 0;
  return true;
}

}  // namespace tidewell::posix

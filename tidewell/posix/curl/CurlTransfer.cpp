#include "tidewell/posix/curl/CurlTransfer.h"

#include <strings.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <new>
#include <string_view>

#include "tidewell/base/Data.h"
#include "tidewell/posix/UrlErrors.h"
#include "tidewell/posix/curl/CurlErrors.h"
#include "tidewell/posix/curl/Redirect.h"

namespace tidewell::posix {
namespace {

/// A body is given room at once up to this much, on the word of its Content-Length; beyond it grows.
constexpr curl_off_t kMaximumReserve = 256 << 10;

/// Cookies live as long as the process, and a server may set fifty with each reply.
constexpr std::size_t kMaximumCookies = 500;

/// Longer bounds than this are none.
constexpr double kLongestBoundSeconds = 10.0 * 365 * 24 * 3600;

CurlTransfer::Clock::duration boundOf(double seconds) {
  if (!(seconds > 0) || seconds > kLongestBoundSeconds) seconds = kLongestBoundSeconds;
  return std::chrono::duration_cast<CurlTransfer::Clock::duration>(std::chrono::duration<double>(seconds));
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

/// libcurl makes these itself from what it really sends; another value would put the two ends out of step.
bool isMadeByLibcurl(std::string_view name) {
  constexpr std::string_view names[] = {"Connection", "Content-Length", "Expect", "Host",
                                        "Transfer-Encoding"};
  return std::any_of(std::begin(names), std::end(names),
                     [name](std::string_view made) { return equalsIgnoringCase(made, name); });
}

bool isBlank(std::string_view value) { return value.find_first_not_of(" \t") == std::string_view::npos; }

/// A method goes into the request line as it is.
bool isMethod(std::string_view method) {
  return !method.empty() && std::all_of(method.begin(), method.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
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
  setMethodAndBody();
  setProxy();
  if (!setHeaders()) return urlError(platform::kUrlErrorUnknown, "out of memory");
  head_.clear();
  body_.clear();
  bytesCounted_ = 0;
  ports_ = {};
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
  // A look-up that hangs must not hold up the thread when its transfer is given up.
  set(CURLOPT_QUICK_EXIT, 1L);
  set(CURLOPT_ERRORBUFFER, curlDetail_);

  // Where it may go. Redirects are followed by `follow`, which also knows which headers stay behind.
  const char* schemes = session()->httpsOnly ? "https" : "http,https";
  set(CURLOPT_PROTOCOLS_STR, schemes);
  set(CURLOPT_REDIR_PROTOCOLS_STR, schemes);
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_CONNECT_TO, environment_.connectTo);
  environment_.sockets.attach(handle());
  set(CURLOPT_PREREQFUNCTION, noteConnection);
  set(CURLOPT_PREREQDATA, this);
  // Not HTTP/2: with libcurl 7.88 transfers that share a connection stall. Ten downloads of 3 MB at once from
  // a correct server stood still for seconds, or for good, in one run of six.
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));

  // Whom it trusts. The parsed CA store is kept for ever, which libcurl does only without a CA folder.
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_CAINFO, orNull(settings.caFile));
  set(CURLOPT_CAPATH, orNull(settings.caDirectory));
  set(CURLOPT_PROXY_CAINFO, orNull(settings.proxyCaFile));
  set(CURLOPT_PROXY_CAPATH, orNull(settings.proxyCaDirectory));
  set(CURLOPT_CA_CACHE_TIMEOUT, -1L);

  // What arrives.
  set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate, br");
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
  // The engine bounds the silence, connecting included; libcurl's own bound of 300 s must not come first.
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(INT_MAX / 2));
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
  const bool isHttps = strncasecmp(url_.c_str(), "https:", 6) == 0;
  // Set even where there is none: libcurl reads the environment for what is not set.
  const std::string& proxy = isHttps ? settings.httpsProxy : settings.httpProxy;
  set(CURLOPT_PROXY, proxy.c_str());
  set(CURLOPT_NOPROXY, settings.noProxy.c_str());
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
  bool complete = append("Expect:");  // nobody waits a second for a "100 Continue"
  for (const auto& [name, value] : task_.request.allHTTPHeaderFields()) {
    if (isMadeByLibcurl(name) || !mayTravel(name)) continue;
    // libcurl leaves a header without a value out, unless it ends in a semicolon.
    complete = complete && append(isBlank(value) ? name + ";" : name + ": " + value);
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
  if (const auto silence = environment_.sockets.silence(ports_)) {
    lastProgress_ = std::max(lastProgress_, Clock::now() - *silence);
  }
}

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
  long status = 0;
  char* target = nullptr;
  curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  if (code != CURLE_OK || !isRedirect(status)) return {false, std::nullopt};
  curl_easy_getinfo(handle(), CURLINFO_REDIRECT_URL, &target);
  if (target == nullptr) return {false, std::nullopt};
  if (redirects_ == kMaximumRedirects) return {false, urlError(platform::kUrlErrorHttpTooManyRedirects)};
  ++redirects_;
  std::string next = target;
  // What was left behind stays behind, even where a later redirect leads back.
  leftItsHost_ = leftItsHost_ || !haveSameOrigin(url_, next);
  url_ = std::move(next);
  std::string method = methodAfterRedirect(status, method_);
  sendsBody_ = sendsBody_ && method == method_;
  method_ = std::move(method);
  return {true, std::nullopt};
}

platform::UrlTaskResult CurlTransfer::result(CURLcode code) {
  if (refused_) return failure(std::move(*refused_));
  if (code != CURLE_OK) return failure(errorOfCurl(code, handle(), curlDetail_, environment_.settings));
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
  if (status < 200 || !head_.isComplete()) return result;  // nothing, or an interim reply
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
  } catch (...) {  // no memory for it; libcurl reports that its callback has failed
  }
  return 0;
}

std::size_t CurlTransfer::receiveBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  std::string& body = transfer.body_;
  const std::size_t maximum = transfer.session()->maximumBodyBytes;
  transfer.noteProgress();
  try {
    if (size * count > maximum - body.size()) {
      transfer.refused_ = urlError(platform::kUrlErrorDataLengthExceedsMaximum);
      return 0;
    }
    if (body.empty()) {
      curl_off_t announced = -1;
      curl_easy_getinfo(transfer.handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
      if (announced > 0) body.reserve(static_cast<std::size_t>(std::min(announced, kMaximumReserve)));
    }
    body.append(bytes, size * count);
    return size * count;
  } catch (...) {
    return 0;
  }
}

int CurlTransfer::countBytes(void* self, curl_off_t, curl_off_t received, curl_off_t,
                             curl_off_t sent) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  if (received + sent != transfer.bytesCounted_) {
    transfer.bytesCounted_ = received + sent;
    transfer.noteProgress();
  }
  return 0;
}

int CurlTransfer::noteConnection(void* self, char*, char*, int remotePort, int localPort) noexcept {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.ports_ = {localPort, remotePort};
  transfer.noteProgress();
  return CURL_PREREQFUNC_OK;
}

}  // namespace tidewell::posix

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {

/// The codes of `base::kUrlErrorDomain`, with the platform's numbers.
inline constexpr std::int64_t kUrlErrorUnknown = -1;
inline constexpr std::int64_t kUrlErrorCancelled = -999;
inline constexpr std::int64_t kUrlErrorBadUrl = -1000;
inline constexpr std::int64_t kUrlErrorTimedOut = -1001;
inline constexpr std::int64_t kUrlErrorUnsupportedUrl = -1002;
inline constexpr std::int64_t kUrlErrorCannotFindHost = -1003;
inline constexpr std::int64_t kUrlErrorCannotConnectToHost = -1004;
inline constexpr std::int64_t kUrlErrorNetworkConnectionLost = -1005;
inline constexpr std::int64_t kUrlErrorHttpTooManyRedirects = -1007;
inline constexpr std::int64_t kUrlErrorResourceUnavailable = -1008;
inline constexpr std::int64_t kUrlErrorNotConnectedToInternet = -1009;
inline constexpr std::int64_t kUrlErrorBadServerResponse = -1011;
inline constexpr std::int64_t kUrlErrorCannotDecodeContentData = -1016;
inline constexpr std::int64_t kUrlErrorDataLengthExceedsMaximum = -1103;
inline constexpr std::int64_t kUrlErrorSecureConnectionFailed = -1200;
inline constexpr std::int64_t kUrlErrorServerCertificateUntrusted = -1202;

enum class UrlRequestCachePolicy : std::int32_t {
  useProtocolCachePolicy = 0,
  reloadIgnoringLocalCacheData = 1
};

/// What is asked of a server. A plain value, used by one thread until it is handed to a session.
class TIDEWELL_EXPORT UrlRequest {
 public:
  explicit UrlRequest(std::optional<base::Url> url,
                      UrlRequestCachePolicy cachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy);

  [[nodiscard]] const std::optional<base::Url>& URL() const noexcept { return url_; }
  [[nodiscard]] UrlRequestCachePolicy cachePolicy() const noexcept { return cachePolicy_; }
  [[nodiscard]] const std::string& HTTPMethod() const noexcept { return method_; }
  void setHTTPMethod(std::string method) { method_ = std::move(method); }
  /// Replaces a value of the same name, compared without regard to case; the header keeps its place and takes
  /// the new spelling. nothing removes the header; "" is sent as a header without a value. A name that is not
  /// a token (RFC 9110, section 5.6.2) or a value with CR, LF or NUL changes nothing: it could smuggle in
  /// headers of its own.
  void setValue(std::optional<std::string_view> value, std::string_view forHTTPHeaderField);
  [[nodiscard]] std::optional<std::string> valueForHTTPHeaderField(std::string_view name) const;
  [[nodiscard]] const std::vector<std::pair<std::string, std::string>>& allHTTPHeaderFields() const noexcept {
    return headers_;
  }
  [[nodiscard]] const std::optional<std::string>& HTTPBody() const noexcept { return body_; }
  void setHTTPBody(std::optional<std::string> body) { body_ = std::move(body); }

 private:
  std::optional<base::Url> url_;
  UrlRequestCachePolicy cachePolicy_;
  std::string method_ = "GET";
  std::vector<std::pair<std::string, std::string>> headers_;
  std::optional<std::string> body_;
};

/// What a server answered, its body apart. A plain value.
struct TIDEWELL_EXPORT UrlResponse {
  std::string url;
  /// 0 for a response without a status.
  std::int64_t statusCode = 0;
  std::vector<std::pair<std::string, std::string>> headers;

  /// `<NSHTTPURLResponse> { URL: https://… } { Status Code: 404, Headers {…} }`, with the headers as a
  /// dictionary of lists prints: names in ascending order, the values of a repeated header in their order.
  [[nodiscard]] std::string description() const;
};

/// The outcome of a task: what arrived, and what went wrong. Nothing of `data` and `response` is there when
/// no answer came.
struct UrlTaskResult {
  std::optional<base::Data> data;
  std::optional<UrlResponse> response;
  std::optional<base::Error> error;
};

using UrlTaskCompletion = std::function<void(UrlTaskResult)>;
/// The rules of a session, set when it is made: time-outs, bounds, and where its requests may go.
struct UrlSessionConfiguration {
  /// A text for logs and for the name of the queue's thread.
  std::string name{};
  UrlRequestCachePolicy requestCachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy;
  /// The longest silence of one transfer, connecting included, in seconds.
  double timeoutIntervalForRequest = 60.0;
  /// The longest life of one transfer, in seconds. The default is 7 days.
  double timeoutIntervalForResource = 604800.0;
  /// Bodies that are longer once decoded fail with `kUrlErrorDataLengthExceedsMaximum`.
  std::size_t maximumBodyBytes = 16u << 20;
  /// Names of headers that do not travel to another host with a redirect (beside those of authorisation).
  std::vector<std::string> headersBoundToHost{};
  /// Refuses everything but https, in redirects too.
  bool httpsOnly = false;
};

/// Runs HTTP transfers. Completions come on the session's own serial queue, exactly once a task, with no lock
/// held.
class TIDEWELL_EXPORT UrlSession {
 public:
  virtual ~UrlSession();
  /// Starts the transfer and returns at once; the completion never runs before this returns. A request
  /// without a URL completes with `kUrlErrorUnsupportedUrl`. Any thread. Where no transfer can start at all
  /// (no worker thread, as in the child of a fork) the completion comes with `kUrlErrorResourceUnavailable`.
  /// May throw `std::bad_alloc` before the task is taken; a task that was taken ends whatever the memory.
  virtual void dataTaskWithRequest(UrlRequest request, UrlTaskCompletion completion) = 0;
  [[nodiscard]] virtual const UrlSessionConfiguration& configuration() const = 0;
};

}  // namespace tidewell::platform

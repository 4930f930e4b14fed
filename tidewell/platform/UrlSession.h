// SPDX-License-Identifier: Apache-2.0
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
#include "tidewell/base/LaterFields.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {

/// Codes of `base::kUrlErrorDomain`, with the platform's values.
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

/// An HTTP request. A plain value type, for one thread at a time until it is passed to a session.
class TIDEWELL_EXPORT UrlRequest {
 public:
  explicit UrlRequest(std::optional<base::Url> url,
                      UrlRequestCachePolicy cachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy);

  [[nodiscard]] const std::optional<base::Url>& URL() const noexcept { return url_; }
  [[nodiscard]] UrlRequestCachePolicy cachePolicy() const noexcept { return cachePolicy_; }
  [[nodiscard]] const std::string& HTTPMethod() const noexcept { return method_; }
  void setHTTPMethod(std::string method) { method_ = std::move(method); }
  /// Replaces the value of a header with that name (compared ignoring case); the header keeps its place and
  /// takes the new spelling. No value removes the header; "" sends it empty. Ignores a name that is not a
  /// token (RFC 9110, section 5.6.2) and a value with CR, LF or NUL, which could inject headers.
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
  base::LaterFields laterFields_;
};

/// A server's response without its body. A plain value type.
struct TIDEWELL_EXPORT UrlResponse {
  std::string url;
  /// 0 for a response without a status.
  std::int64_t statusCode = 0;
  std::vector<std::pair<std::string, std::string>> headers;
  base::LaterFields laterFields{};

  /// `<NSHTTPURLResponse> { URL: https://… } { Status Code: 404, Headers {…} }`, where the headers print as a
  /// dictionary of lists: names in ascending order, the values of a repeated header in their order.
  [[nodiscard]] std::string description() const;
};

/// The outcome of a task. `data` and `response` have no value if no response arrived, `error` if the task
/// succeeded.
struct UrlTaskResult {
  std::optional<base::Data> data;
  std::optional<UrlResponse> response;
  std::optional<base::Error> error;
  base::LaterFields laterFields{};
};

using UrlTaskCompletion = std::function<void(UrlTaskResult)>;

/// The settings of a session, fixed at its creation: time-outs, limits, and restrictions on destinations.
struct UrlSessionConfiguration {
  /// For logs and for the name of the queue's thread.
  std::string name{};
  UrlRequestCachePolicy requestCachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy;
  /// The longest time without progress in a transfer, including connecting, in seconds.
  double timeoutIntervalForRequest = 60.0;
  /// The longest duration of a transfer, in seconds. The default is 7 days.
  double timeoutIntervalForResource = 604800.0;
  /// In bytes after decoding. Longer bodies fail with `kUrlErrorDataLengthExceedsMaximum`.
  std::size_t maximumBodyBytes = 16u << 20;
  /// Names of headers that a redirect to another host drops, in addition to those for authorisation.
  std::vector<std::string> headersBoundToHost{};
  /// Refuses all schemes but https, also in redirects.
  bool httpsOnly = false;
  base::LaterFields laterFields{};
};

/// Runs HTTP transfers. Completions are called exactly once per task, on the session's own serial queue, with
/// no lock held.
class TIDEWELL_EXPORT UrlSession {
 public:
  virtual ~UrlSession();
  /// Starts a transfer and returns immediately; the completion never runs before that. A request without a
  /// URL completes with `kUrlErrorUnsupportedUrl`. If no transfer can start at all (there is no worker
  /// thread, as in the child of a fork), the task completes with `kUrlErrorResourceUnavailable`. Any thread.
  /// May throw `std::bad_alloc` before accepting the task; an accepted task completes even if memory runs
  /// out.
  virtual void dataTaskWithRequest(UrlRequest request, UrlTaskCompletion completion) = 0;
  [[nodiscard]] virtual const UrlSessionConfiguration& configuration() const = 0;
  /// Whether completions run only if the calling thread returns to the session, so that it must not wait for
  /// one: the thread is running a completion. The default is false.
  [[nodiscard]] virtual bool needsCallingThread() const;
};

}  // namespace tidewell::platform

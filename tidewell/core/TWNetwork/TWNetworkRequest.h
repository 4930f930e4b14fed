// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/base/UrlComponents.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell {

/// One call of a service: builds an HTTP request for the right host from service, parameters, headers and
/// body, and sends it.
///
/// For one thread at a time, from construction to `executeRequestWithCompletionBlock`; may be destroyed
/// immediately afterwards. If the request cannot be built, that is logged and the request completes with
/// (false, nil); for the log service it raises instead.
class TIDEWELL_EXPORT TWNetworkRequest final {
 public:
  /// The values of `params` and `additionalHeaders` are strings, or null values, which are left out; with
  /// another one, a number too, the request cannot be built.
  TWNetworkRequest(TWService service, std::optional<base::Dictionary> params,
                   std::optional<base::Dictionary> additionalHeaders,
                   std::optional<base::Dictionary> requestBody,
                   std::optional<std::string> additionalPathComponent);

  [[nodiscard]] TWService service() const noexcept { return service_; }
  /// No value if the URL could not be built.
  [[nodiscard]] const std::optional<base::Url>& requestURL() const noexcept { return requestURL_; }
  [[nodiscard]] const std::optional<std::string>& requestMethod() const noexcept { return requestMethod_; }
  [[nodiscard]] const std::optional<base::Dictionary>& requestHeaders() const noexcept {
    return requestHeaders_;
  }
  [[nodiscard]] const std::optional<base::Dictionary>& requestParams() const noexcept {
    return requestParams_;
  }
  [[nodiscard]] const std::optional<base::Dictionary>& requestBody() const noexcept { return requestBody_; }
  void setService(TWService service) { service_ = service; }
  void setRequestURL(std::optional<base::Url> url) { requestURL_ = std::move(url); }
  void setRequestMethod(std::optional<std::string> method) { requestMethod_ = std::move(method); }
  void setRequestHeaders(std::optional<base::Dictionary> headers) { requestHeaders_ = std::move(headers); }
  void setRequestParams(std::optional<base::Dictionary> params) { requestParams_ = std::move(params); }
  void setRequestBody(std::optional<base::Dictionary> body) { requestBody_ = std::move(body); }

  [[nodiscard]] std::optional<base::Url> createURLWithPathComponent(std::optional<std::string> path) const;
  void saveReportsRequestInfoWithComponents(const base::UrlComponents& components) const;
  /// The HTTP request; no value if it could not be built (log line 162). A request without a URL is built,
  /// but fails when it is sent.
  [[nodiscard]] std::optional<platform::UrlRequest> getRequestInstance() const;
  /// Sends the request. The completion runs exactly once, on the main queue, or on the session's queue for
  /// the log service. A configuration larger than 3 MiB counts as a failed transfer. Raises if a request to
  /// the log service could not be built (`sendLogRequest`); the completion does not run then.
  void executeRequestWithCompletionBlock(TWRequestCompletion completion) const;

 private:
  TWService service_;
  std::optional<base::Url> requestURL_;
  std::optional<std::string> requestMethod_;
  std::optional<base::Dictionary> requestHeaders_;
  std::optional<base::Dictionary> requestParams_;
  std::optional<base::Dictionary> requestBody_;
};

}  // namespace tidewell

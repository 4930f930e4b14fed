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
  /// The values of `params` and `additionalHeaders` are strings, or null values, which are left out; with any
  /// other value, even a number, the request cannot be built.
  TWNetworkRequest(TWService service, std::optional<base::Dictionary> params,
                   std::optional<base::Dictionary> additionalHeaders,
                   std::optional<base::Dictionary> requestBody,
                   std::optional<std::string> additionalPathComponent);

  ~TWNetworkRequest();
  TWNetworkRequest(const TWNetworkRequest& other);
  TWNetworkRequest& operator=(const TWNetworkRequest& other);

  [[nodiscard]] TWService service() const noexcept;
  /// No value if the URL could not be built.
  [[nodiscard]] const std::optional<base::Url>& requestURL() const noexcept;
  [[nodiscard]] const std::optional<std::string>& requestMethod() const noexcept;
  [[nodiscard]] const std::optional<base::Dictionary>& requestHeaders() const noexcept;
  [[nodiscard]] const std::optional<base::Dictionary>& requestParams() const noexcept;
  [[nodiscard]] const std::optional<base::Dictionary>& requestBody() const noexcept;
  void setService(TWService service);
  void setRequestURL(std::optional<base::Url> url);
  void setRequestMethod(std::optional<std::string> method);
  void setRequestHeaders(std::optional<base::Dictionary> headers);
  void setRequestParams(std::optional<base::Dictionary> params);
  void setRequestBody(std::optional<base::Dictionary> body);

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
  struct State;  // not part of the class, so that it can grow without a host being compiled again
  std::unique_ptr<State> state_;
};

}  // namespace tidewell

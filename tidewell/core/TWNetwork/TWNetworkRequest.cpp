// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWNetwork/internal/ReplyFacts.h"
#include "tidewell/core/TWNetwork/internal/ServiceEndpoint.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/internal/AppGroup.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

/// Represents a missing port in the record for extensions.
constexpr std::int64_t kNoPort = -1;

/// The text of a value. Raises for any other class.
const std::string& requiredText(const base::Value& value) {
  if (const std::string* text = value.string()) return *text;
  (void)value.length();  // raises for all but nil and data
  base::raise(base::kInvalidArgumentException,
              value.isNil() ? "nil where a text is required" : "data where a text is required");
}

const std::string& requiredText(const std::optional<std::string>& text) {
  return text ? *text : requiredText(base::Value());
}

std::vector<base::UrlQueryItem> queryItems(const base::Dictionary& parameters) {
  std::vector<base::UrlQueryItem> items;
  for (const auto& [name, value] : parameters) {
    if (!value.isNull()) items.push_back({name, requiredText(value)});
  }
  return items;
}

}  // namespace

struct TWNetworkRequest::State {
  TWService service = TWServiceGetConfig;
  std::optional<base::Url> url;
  std::optional<std::string> method;
  std::optional<base::Dictionary> headers;
  std::optional<base::Dictionary> params;
  std::optional<base::Dictionary> body;
};

TWNetworkRequest::TWNetworkRequest(TWService service, std::optional<base::Dictionary> params,
                                   std::optional<base::Dictionary> additionalHeaders,
                                   std::optional<base::Dictionary> requestBody,
                                   std::optional<std::string> additionalPathComponent)
    : state_(std::make_unique<State>()) {
  state_->service = service;
  state_->headers = std::move(additionalHeaders);
  state_->params = std::move(params);
  state_->body = std::move(requestBody);
  // After the parameters, from which the URL's query is built.
  state_->url =
      createURLWithPathComponent(TWNetworkUtils::getAPIPathForService(service, additionalPathComponent));
  state_->method = TWNetworkUtils::getRequestMethodForService(service);
}

TWNetworkRequest::~TWNetworkRequest() = default;
TWNetworkRequest::TWNetworkRequest(const TWNetworkRequest& other)
    : state_(std::make_unique<State>(*other.state_)) {}
TWNetworkRequest& TWNetworkRequest::operator=(const TWNetworkRequest& other) {
  if (this != &other) *state_ = *other.state_;
  return *this;
}

TWService TWNetworkRequest::service() const noexcept { return state_->service; }
const std::optional<base::Url>& TWNetworkRequest::requestURL() const noexcept { return state_->url; }
const std::optional<std::string>& TWNetworkRequest::requestMethod() const noexcept { return state_->method; }
const std::optional<base::Dictionary>& TWNetworkRequest::requestHeaders() const noexcept {
  return state_->headers;
}
const std::optional<base::Dictionary>& TWNetworkRequest::requestParams() const noexcept {
  return state_->params;
}
const std::optional<base::Dictionary>& TWNetworkRequest::requestBody() const noexcept { return state_->body; }
void TWNetworkRequest::setService(TWService service) { state_->service = service; }
void TWNetworkRequest::setRequestURL(std::optional<base::Url> url) { state_->url = std::move(url); }
void TWNetworkRequest::setRequestMethod(std::optional<std::string> method) {
  state_->method = std::move(method);
}
void TWNetworkRequest::setRequestHeaders(std::optional<base::Dictionary> headers) {
  state_->headers = std::move(headers);
}
void TWNetworkRequest::setRequestParams(std::optional<base::Dictionary> params) {
  state_->params = std::move(params);
}
void TWNetworkRequest::setRequestBody(std::optional<base::Dictionary> body) {
  state_->body = std::move(body);
}

std::optional<base::Url> TWNetworkRequest::createURLWithPathComponent(std::optional<std::string> path) const {
  static constexpr LogCoordinates kWhere{"TWNetworkRequest", 89,
                                         "createURLWithPathComponent:", "Exception in creating URL %@"};
  return guarded(kWhere, std::optional<base::Url>(), [&] {
    ServiceEndpoint endpoint = endpointOfService(state_->service);
    base::UrlComponents components;
    components.setScheme(TWNetworkConfiguration::defaultConfiguration().schemeForService(state_->service));
    components.setHost(std::move(endpoint.host));
    components.setPath(std::move(path));
    components.setPort(endpoint.port);

    if (state_->service == TWServiceSendReports) saveReportsRequestInfoWithComponents(components);

    if (state_->params) {
      std::vector<base::UrlQueryItem> items = queryItems(*state_->params);
      if (!items.empty()) components.setQueryItems(std::move(items));
    }
    return components.URL();
  });
}

void TWNetworkRequest::saveReportsRequestInfoWithComponents(const base::UrlComponents& components) const {
  const std::shared_ptr<platform::UserDefaults> suite = appGroupDefaults();
  if (!suite) return;
  suite->setObject(components.host(), "tdw_reports_host");
  suite->setObject(components.scheme(), "tdw_reports_scheme");
  suite->setObject(components.path(), "tdw_reports_path");
  suite->setObject(components.port().value_or(kNoPort), "tdw_reports_port");
  suite->synchronize();
}

std::optional<platform::UrlRequest> TWNetworkRequest::getRequestInstance() const {
  static constexpr LogCoordinates kWhere{"TWNetworkRequest", 162, "getRequestInstance",
                                         "Exception in Request Generator %@"};
  using Result = std::optional<platform::UrlRequest>;
  return guarded(kWhere, Result(), [&]() -> Result {
    platform::UrlRequest request(state_->url);
    request.setHTTPMethod(requiredText(state_->method));

    const std::optional<std::string> appId = TWCoreUtils::getTidewellAppId();
    const auto headers = [&] {
      base::Dictionary all = state_->headers.value_or(base::Dictionary());
      if (appId) all.setObject(*appId, kAPIHeadersAppID);
      return all;
    };
    if (state_->headers) {
      for (const auto& [name, value] : *state_->headers) {
        if (!value.isNull()) request.setValue(requiredText(value), name);
      }
    }
    if (appId) {
      // Last, because it replaces a caller's header of that name in any case.
      request.setValue(std::nullopt, kAPIHeadersAppID);
      request.setValue(*appId, kAPIHeadersAppID);
    }

    logLine([&] { return base::stringWithFormat("Request URL : %@", {request.URL()}); });
    logLine([&] { return base::stringWithFormat("Request Method : %@", {request.HTTPMethod()}); });
    logLine([&] { return base::stringWithFormat("Request headers : %@", {headers()}); });

    if (state_->method == kPOST) {
      request.setValue("application/json", "content-type");
      if (state_->body) {
        logLine([&] { return base::stringWithFormat("Request Body : %@", {*state_->body}); });
        request.setHTTPBody(base::dataWithJSONObject(*state_->body));
      }
    }
    return request;
  });
}

void TWNetworkRequest::executeRequestWithCompletionBlock(TWRequestCompletion completion) const {
  if (state_->service == TWServiceGetConfig) return fetchConfiguration(*this, std::move(completion), nullptr);
  std::optional<platform::UrlRequest> request = getRequestInstance();
  const TWNetworkClient client;
  const ServiceEntry* const entry = serviceEntry(state_->service);
  if (entry != nullptr && entry->successStatus == kServiceStatusNoContent) {
    client.sendLogRequest(std::move(request), std::move(completion));
  } else {
    client.fetchRequest(std::move(request), std::move(completion));
  }
}

void fetchConfiguration(const TWNetworkRequest& request, TWRequestCompletion completion,
                        std::shared_ptr<ReplyFacts> facts) {
  fetchRequest(request.getRequestInstance(), kMaximumConfigurationBytes, std::move(completion),
               std::move(facts));
}

}  // namespace tidewell

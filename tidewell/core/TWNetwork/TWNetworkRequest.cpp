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

TWNetworkRequest::TWNetworkRequest(TWService service, std::optional<base::Dictionary> params,
                                   std::optional<base::Dictionary> additionalHeaders,
                                   std::optional<base::Dictionary> requestBody,
                                   std::optional<std::string> additionalPathComponent)
    : service_(service),
      requestHeaders_(std::move(additionalHeaders)),
      requestParams_(std::move(params)),
      requestBody_(std::move(requestBody)) {
  // After the parameters, from which the URL's query is built.
  requestURL_ =
      createURLWithPathComponent(TWNetworkUtils::getAPIPathForService(service, additionalPathComponent));
  requestMethod_ = TWNetworkUtils::getRequestMethodForService(service);
}

std::optional<base::Url> TWNetworkRequest::createURLWithPathComponent(std::optional<std::string> path) const {
  static constexpr LogCoordinates kWhere{"TWNetworkRequest", 89,
                                         "createURLWithPathComponent:", "Exception in creating URL %@"};
  return guarded(kWhere, std::optional<base::Url>(), [&] {
    const TWNetworkConfiguration& configuration = TWNetworkConfiguration::defaultConfiguration();
    base::UrlComponents components;
    components.setScheme(configuration.schemeForService(service_));
    components.setHost(configuration.hostForService(service_));
    components.setPath(std::move(path));
    if (const auto port = configuration.portForService(service_)) components.setPort(port);

    if (service_ == TWServiceSendReports) saveReportsRequestInfoWithComponents(components);

    if (requestParams_) {
      std::vector<base::UrlQueryItem> items = queryItems(*requestParams_);
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
    platform::UrlRequest request(requestURL_);
    request.setHTTPMethod(requiredText(requestMethod_));

    const std::optional<std::string> appId = TWCoreUtils::getTidewellAppId();
    const auto headers = [&] {
      base::Dictionary all = requestHeaders_.value_or(base::Dictionary());
      if (appId) all.setObject(*appId, kAPIHeadersAppID);
      return all;
    };
    if (requestHeaders_) {
      for (const auto& [name, value] : *requestHeaders_) {
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

    if (requestMethod_ == kPOST) {
      request.setValue("application/json", "content-type");
      if (requestBody_) {
        logLine([&] { return base::stringWithFormat("Request Body : %@", {*requestBody_}); });
        request.setHTTPBody(base::dataWithJSONObject(*requestBody_));
      }
    }
    return request;
  });
}

void TWNetworkRequest::executeRequestWithCompletionBlock(TWRequestCompletion completion) const {
  std::optional<platform::UrlRequest> request = getRequestInstance();
  const TWNetworkClient client;
  const ServiceEntry* const entry = serviceEntry(service_);
  if (entry != nullptr && entry->successStatus == kServiceStatusNoContent) {
    client.sendLogRequest(std::move(request), std::move(completion));
  } else if (service_ == TWServiceGetConfig) {
    client.fetchRequest(std::move(request), kMaximumConfigurationBytes, std::move(completion));
  } else {
    client.fetchRequest(std::move(request), std::move(completion));
  }
}

}  // namespace tidewell

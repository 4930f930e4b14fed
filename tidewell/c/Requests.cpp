// SPDX-License-Identifier: Apache-2.0
// Requests, downloads and log lines.
#include <string>

#include "tidewell/c/internal/HostContext.h"
#include "tidewell/core/TWNetwork/ServiceCatalogue.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::c {
namespace {

static_assert(kServiceCatalogue.size() == TDW_SERVICE_SEND_LOGS + 1 &&
              TWServiceInbox == static_cast<int>(TDW_SERVICE_INBOX) &&
              TWServiceUserInSegment == static_cast<int>(TDW_SERVICE_USER_IN_SEGMENT) &&
              TWServiceSendLogs == static_cast<int>(TDW_SERVICE_SEND_LOGS));
static_assert(TWLogLevelOff == static_cast<int>(TDW_LOG_LEVEL_OFF) &&
              TWLogLevelDebug == static_cast<int>(TDW_LOG_LEVEL_DEBUG) &&
              TWLogLevelExceptionsAndErrors == static_cast<int>(TDW_LOG_LEVEL_EXCEPTIONS_AND_ERRORS));
static_assert(TWLogSeverityNone == static_cast<int>(TDW_SEVERITY_NONE) &&
              TWLogSeverityWarning == static_cast<int>(TDW_SEVERITY_WARNING) &&
              TWLogSeverityError == static_cast<int>(TDW_SEVERITY_ERROR));

TWService requiredService(tdw_service service) { return required<TWService>(service, TDW_SERVICE_SEND_LOGS); }

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

char* tdw_get_parameters(tdw_service service, std::size_t* length) {
  return textOf(length, [&] {
    return jsonOf(base::Value(TWNetworkUtils::getQueryParamsBodyDictForService(requiredService(service))));
  });
}

tdw_status tdw_send(tdw_service service, const char* parameters, const char* headers, const char* body,
                    const char* path_component, tdw_reply reply, void* context,
                    tdw_free_context free_context) {
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    std::optional<std::string> path(optionalText(path_component));
    const TWNetworkRequest request(requiredService(service), optionalObject(parameters),
                                   optionalObject(headers), optionalObject(body), std::move(path));
    require(platform::Platform::isInstalled(), TDW_NOT_INSTALLED);
    request.executeRequestWithCompletionBlock(
        [callback = Callback<tdw_reply>(reply, adopted)](bool success, const base::Value& response) {
          callback(success, pointerTo(jsonOf(response)));
        });
    return TDW_OK;
  });
}

tdw_status tdw_download(const char* url, tdw_download_reply reply, void* context,
                        tdw_free_context free_context) {
  return statusWithCallback(reply, context, free_context, [&](const auto& callback) {
    const base::Url from = requiredUrl(url);
    require(platform::Platform::isInstalled(), TDW_NOT_INSTALLED);
    TidewellCore::sharedInstance().downloadImageForURL(
        from, [callback](bool success, const std::optional<base::Data>& data) {
          if (data) {
            callback(success, data->bytes(), data->length());
          } else {
            callback(success, static_cast<const std::uint8_t*>(nullptr), std::size_t{0});
          }
        });
    return TDW_OK;
  });
}

tdw_status tdw_set_log_level(tdw_log_level level) {
  return statusOf([&] {
    TidewellCore::sharedInstance().debug(required<TWLogLevel>(level, TDW_LOG_LEVEL_EXCEPTIONS_AND_ERRORS));
  });
}
bool tdw_log_writes(tdw_severity severity) {
  return severity >= TDW_SEVERITY_NONE && severity <= TDW_SEVERITY_ERROR && TWLogger::writes(severity);
}
tdw_status tdw_log(tdw_severity severity, const char* message) {
  return statusOf([&] {
    const auto known = required<TWLogSeverity>(severity, TDW_SEVERITY_ERROR);
    TWLogger::logWithVerbosity(TWLogVerbosityDefault, known, {requiredText(message)});
  });
}
tdw_status tdw_log_and_ship(tdw_severity severity, const char* message, const char* stack_trace) {
  return statusOf([&] {
    const auto known = required<TWLogSeverity>(severity, TDW_SEVERITY_ERROR);
    const base::Array arguments{requiredText(message)};
    TWLogger::logWithVerbosity(TWLogVerbosityDefault, known, arguments, optionalText(stack_trace));
  });
}

}  // extern "C"

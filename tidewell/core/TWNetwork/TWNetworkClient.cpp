// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWNetwork/TWNetworkClient.h"

#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/core/TWNetwork/ServiceCatalogue.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWNetwork/internal/ReplyFacts.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

constexpr std::string_view kFetchSelector = "fetchRequest:withCompletionHandler:";
constexpr std::string_view kSyncSelector = "syncRequest:withCompletionHandler:";

/// Shared by a task's handler and the function on the main queue, so that the host's function object is never
/// copied.
using SharedCompletion = std::shared_ptr<const TWRequestCompletion>;

/// Leaves `completion` unchanged if out of memory.
SharedCompletion share(TWRequestCompletion& completion) {
  return std::make_shared<const TWRequestCompletion>(std::move(completion));
}

void call(const TWRequestCompletion& completion, bool success, const base::Value& response) {
  if (completion) completion(success, response);
}

void callOnMainQueue(const SharedCompletion& completion, bool success, base::Value response) {
  platform::Platform::current().mainQueue().async(
      [completion, success, response = std::move(response)] { call(*completion, success, response); });
}

bool succeeded(const platform::UrlTaskResult& result, std::int64_t expectedStatus) {
  return !result.error && result.response && result.response->statusCode == expectedStatus;
}

template <class Described>
base::Value description(const std::optional<Described>& described) {
  if (!described) return {};
  return described->description();
}

std::string failureMessage(std::string_view format, const platform::UrlTaskResult& result) {
  return base::stringWithFormat(format, {description(result.response), description(result.error)});
}

/// Logs a failed transfer as a line to be shipped.
void logFailedTransfer(std::int32_t line, std::string_view selector, std::string_view format,
                       const platform::UrlTaskResult& result) {
  TWLogger::logWithVerbosity(TWLogVerbosityDetailed, TWLogSeverityDebug,
                             {"TWNetworkClient", line, selector, failureMessage(format, result)},
                             base::Value());
}

void sendOnSession(std::optional<platform::UrlRequest> request, platform::UrlTaskCompletion handler) {
  if (!request) base::raise(base::kInvalidArgumentException, "Cannot create data task with nil request");
  TWNetworkConfiguration::defaultConfiguration().getTWURLSession()->dataTaskWithRequest(*std::move(request),
                                                                                        std::move(handler));
}

/// The decoded reply; an empty dictionary if there is none or it is not JSON.
base::Value decodedReply(const platform::UrlTaskResult& result, ReplyFacts* facts) {
  const bool isEmpty = !result.data || result.data->length() == 0;
  base::Value reply = result.data ? base::JSONObjectWithData(result.data->view()) : base::Value();
  if (facts != nullptr) {
    facts->body = isEmpty         ? ReplyFacts::Body::empty
                  : reply.isNil() ? ReplyFacts::Body::notJSON
                                  : ReplyFacts::Body::JSON;
  }
  return reply.isNil() ? base::Value(base::Dictionary()) : reply;
}

/// Notes status and error. The error is lost if out of memory.
void note(const platform::UrlTaskResult& result, ReplyFacts* facts) noexcept {
  if (facts == nullptr) return;
  if (result.response) facts->statusCode = result.response->statusCode;
  try {
    facts->error = result.error;
  } catch (const std::bad_alloc&) {
  }
}

/// Notes the exception being handled.
void noteException(ReplyFacts* facts) noexcept {
  if (facts != nullptr) facts->exception = base::currentExceptionDescription();
}

/// The error for a body that exceeds the caller's limit.
base::Error replyTooLarge(std::size_t bytes, std::size_t maximumBytes) {
  return {std::string(base::kUrlErrorDomain), platform::kUrlErrorDataLengthExceedsMaximum,
          "resource exceeds maximum size (" + std::to_string(bytes) + " bytes, at most " +
              std::to_string(maximumBytes) + " are read)"};
}

void handleFetched(platform::UrlTaskResult result, std::size_t maximumReplyBytes,
                   const SharedCompletion& completion, ReplyFacts* facts) {
  static constexpr LogCoordinates kWhere{"TWNetworkClient", 66, kFetchSelector, "🛑 Exception : %@ 🛑"};
  try {
    if (result.data && result.data->length() > maximumReplyBytes && succeeded(result, kServiceStatusOK)) {
      result.error = replyTooLarge(result.data->length(), maximumReplyBytes);
    }
    note(result, facts);
    if (succeeded(result, kServiceStatusOK)) {
      callOnMainQueue(completion, true, decodedReply(result, facts));
    } else {
      logFailedTransfer(59, kFetchSelector, "🛑 Api failed with response %@ and error %@ 🛑 ", result);
      callOnMainQueue(completion, false, {});
    }
  } catch (...) {
    noteException(facts);
    logCaughtException(kWhere);
    call(*completion, false, {});
  }
}

}  // namespace

void TWNetworkClient::fetchRequest(std::optional<platform::UrlRequest> request,
                                   TWRequestCompletion withCompletionHandler) const {
  fetchRequest(std::move(request), std::numeric_limits<std::size_t>::max(), std::move(withCompletionHandler));
}

void TWNetworkClient::fetchRequest(std::optional<platform::UrlRequest> request, std::size_t maximumReplyBytes,
                                   TWRequestCompletion withCompletionHandler) const {
  tidewell::fetchRequest(std::move(request), maximumReplyBytes, std::move(withCompletionHandler), nullptr);
}

void fetchRequest(std::optional<platform::UrlRequest> request, std::size_t maximumReplyBytes,
                  TWRequestCompletion withCompletionHandler, std::shared_ptr<ReplyFacts> facts) {
  static constexpr LogCoordinates kWhere{"TWNetworkClient", 74, kFetchSelector, "Exception : %@"};
  const base::CancellationShield shield;
  SharedCompletion completion;
  try {
    completion = share(withCompletionHandler);
    sendOnSession(std::move(request), [completion, maximumReplyBytes, facts](platform::UrlTaskResult result) {
      handleFetched(std::move(result), maximumReplyBytes, completion, facts.get());
    });
  } catch (...) {
    noteException(facts.get());
    logCaughtException(kWhere);
    const TWRequestCompletion& waiting = completion ? *completion : withCompletionHandler;
    runForHost([&waiting] { call(waiting, false, {}); });
  }
}

void TWNetworkClient::syncRequest(std::optional<platform::UrlRequest> request,
                                  TWRequestCompletion withCompletionHandler) const {
  const SharedCompletion completion = share(withCompletionHandler);
  sendOnSession(std::move(request), [completion](const platform::UrlTaskResult& result) {
    const bool success = succeeded(result, kServiceStatusOK);
    if (!success) {
      logFailedTransfer(95, kSyncSelector, "🛑 Api failed with response %@ and error %@ 🛑", result);
    }
    call(*completion, success, {});
  });
}

void TWNetworkClient::sendLogRequest(std::optional<platform::UrlRequest> request,
                                     TWRequestCompletion withCompletionHandler) const {
  sendOnSession(
      std::move(request), [completion = share(withCompletionHandler)](const platform::UrlTaskResult& result) {
        const bool success = succeeded(result, kServiceStatusNoContent);
        if (!success) {
          logLine([&] {
            return failureMessage("🛑 The connection failed with response %@ error %@ 🛑", result);
          });
        }
        call(*completion, success, {});
      });
}

}  // namespace tidewell

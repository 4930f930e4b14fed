#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell {

/// How a request ended: whether it succeeded, and the decoded reply or nil. Called exactly once a request.
using TWRequestCompletion = std::function<void(bool success, const base::Value& response)>;

/// Sends a prepared request on the SDK's URL session and reduces the outcome to a success flag and a decoded
/// reply.
///
/// Holds no state; any thread; never waits. An empty completion is allowed everywhere. A missing request
/// raises, which only `fetchRequest` guards.
class TIDEWELL_EXPORT TWNetworkClient final {
 public:
  /// Success is status 200: (YES, the decoded JSON, or an empty dictionary), else (NO, nil), both on the main
  /// queue. What raises while the reply is handled completes on the session's queue; what raises before the
  /// request is sent, at once on the caller's thread.
  void fetchRequest(std::optional<platform::UrlRequest> request,
                    TWRequestCompletion withCompletionHandler) const;
  /// The same for a reply of at most so many bytes: a larger one is a failed transfer
  /// (`kUrlErrorDataLengthExceedsMaximum`) and is not decoded.
  void fetchRequest(std::optional<platform::UrlRequest> request, std::size_t maximumReplyBytes,
                    TWRequestCompletion withCompletionHandler) const;
  /// Success is status 200: (YES, nil), else (NO, nil), on the session's queue. The body is ignored. Raises
  /// for a request that is nothing.
  void syncRequest(std::optional<platform::UrlRequest> request,
                   TWRequestCompletion withCompletionHandler) const;
  /// Success is status 204: (YES, nil), else (NO, nil), on the session's queue. Raises for a request that is
  /// nothing.
  void sendLogRequest(std::optional<platform::UrlRequest> request,
                      TWRequestCompletion withCompletionHandler) const;
};

}  // namespace tidewell

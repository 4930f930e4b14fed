// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell {

/// The result of a request: whether it succeeded, and the decoded reply or nil. Called exactly once per
/// request.
using TWRequestCompletion = std::function<void(bool success, const base::Value& response)>;

/// Sends a prepared request on the SDK's URL session and reduces the result to a success flag and a decoded
/// reply.
///
/// Stateless; any thread; never waits. Completions may be empty. A missing request raises, which only
/// `fetchRequest` catches.
class TIDEWELL_EXPORT TWNetworkClient final {
 public:
  /// Success is status 200. Completes on the main queue with (true, decoded JSON or an empty dictionary) or
  /// (false, nil). Exceptions during handling of the reply complete with (false, nil) on the session's queue;
  /// exceptions before the request is sent, immediately on the caller's thread.
  void fetchRequest(std::optional<platform::UrlRequest> request,
                    TWRequestCompletion withCompletionHandler) const;
  /// The same with a limit on the reply, in bytes: a larger one counts as a failed transfer
  /// (`kUrlErrorDataLengthExceedsMaximum`) and is not decoded.
  void fetchRequest(std::optional<platform::UrlRequest> request, std::size_t maximumReplyBytes,
                    TWRequestCompletion withCompletionHandler) const;
  /// Success is status 200; the body is ignored. Completes with (true, nil) or (false, nil) on the session's
  /// queue. A missing request raises.
  void syncRequest(std::optional<platform::UrlRequest> request,
                   TWRequestCompletion withCompletionHandler) const;
  /// Success is status 204. Completes with (true, nil) or (false, nil) on the session's queue. A missing
  /// request raises.
  void sendLogRequest(std::optional<platform::UrlRequest> request,
                      TWRequestCompletion withCompletionHandler) const;
};

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tidewell/base/Error.h"
#include "tidewell/core/TWNetwork/TWNetworkClient.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"

namespace tidewell {

/// Facts about a transfer that its completion does not receive. Complete when the completion runs; for one
/// thread at a time.
struct ReplyFacts {
  enum class Body { none, empty, notJSON, JSON };

  Body body = Body::none;       ///< of a reply with the expected status
  std::int64_t statusCode = 0;  ///< 0 without a response
  std::optional<base::Error> error{};
  std::string exception{};  ///< why the request was not sent or its reply not handled; "" if both were
};

/// `TWNetworkClient::fetchRequest` with a place for the facts, or null.
void fetchRequest(std::optional<platform::UrlRequest> request, std::size_t maximumReplyBytes,
                  TWRequestCompletion completion, std::shared_ptr<ReplyFacts> facts);

/// `TWNetworkRequest::executeRequestWithCompletionBlock` for the configuration service, with a place for the
/// facts, or null.
void fetchConfiguration(const TWNetworkRequest& request, TWRequestCompletion completion,
                        std::shared_ptr<ReplyFacts> facts);

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/testing/StandInFault.h"
#include "tidewell/testing/internal/BodySource.h"
#include "tidewell/testing/internal/HttpConnection.h"

namespace tidewell::testing {

/// An answer ready to be sent.
struct Answer {
  int status = 200;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  std::string text;  ///< the body, unless there is a `source`
  std::optional<BodySource> source;
  StandInFraming framing = StandInFraming::contentLength;  ///< chunked if the length is unknown
  std::optional<std::uint64_t> cutAfter;      ///< the connection ends after that many bytes of the body
  std::chrono::milliseconds byteInterval{0};  ///< between two bytes; 0 sends without pauses
  std::string surplus;                        ///< bytes sent after the end of the answer
  std::chrono::milliseconds surplusDelay{0};  ///< 0: with the end of the answer
  bool endlessExtension = false;              ///< replaces the body
};

/// Applies a fault to the usual answer. `requestTarget` is the target of a redirect without a location.
[[nodiscard]] Answer withFault(Answer usual, const StandInFault& fault, const std::string& requestTarget);

/// Sends the answer. Returns whether the connection can carry another request.
bool sendAnswer(HttpConnection& connection, Answer answer, bool keepAlive);

}  // namespace tidewell::testing

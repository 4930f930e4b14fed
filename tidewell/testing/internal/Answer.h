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

/// An answer that is ready to be sent.
struct Answer {
  int status = 200;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  std::string text;  ///< the body, unless there is a `source`
  std::optional<BodySource> source;
  StandInFraming framing = StandInFraming::contentLength;  ///< chunked, where the length is not known
  std::optional<std::uint64_t> cutAfter;      ///< after so many bytes of the body the connection ends
  std::chrono::milliseconds byteInterval{0};  ///< between two bytes; 0 sends as fast as it goes
  std::string surplus;  ///< bytes that follow the answer although they are no part of it
  std::chrono::milliseconds surplusDelay{0};  ///< 0: together with the end of the answer
  bool endlessExtension = false;              ///< in place of the body
};

/// Turns the usual answer into the one that a fault wants. `requestTarget` is where a redirect without a
/// location leads.
[[nodiscard]] Answer withFault(Answer usual, const StandInFault& fault, const std::string& requestTarget);

/// Sends it. YES where the connection can carry another request afterwards.
bool sendAnswer(HttpConnection& connection, Answer answer, bool keepAlive);

}  // namespace tidewell::testing

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"

namespace tidewell::testing {

/// A request received by the stand-in backend, and its objections. A plain value type.
struct TIDEWELL_EXPORT StandInRequest {
  double time = 0;               ///< seconds since 1970-01-01 UTC, when it had been read completely
  std::uint64_t connection = 0;  ///< the number of its connection, starting at 1
  std::string serverName;        ///< the name in the TLS handshake
  std::string host;              ///< the Host header as received, including the port
  std::string method;
  std::string path;   ///< as received, still percent-encoded
  std::string query;  ///< without the question mark; "" if there is none
  std::vector<std::pair<std::string, std::string>> headers;  ///< in order, names as received
  std::string body;
  std::optional<int> service;         ///< the `TWService` whose path it has
  std::vector<std::string> problems;  ///< a sentence for each objection that a real backend would have
  std::string fault;                  ///< the fault that applied to it, or ""

  /// The value of the first header with that name, ignoring case.
  [[nodiscard]] std::optional<std::string> header(std::string_view name) const;
  /// A JSON object on one line, without a line feed. A body that is not UTF-8 is given as "body_base64".
  [[nodiscard]] std::string json() const;
};

}  // namespace tidewell::testing

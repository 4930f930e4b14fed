#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"

namespace tidewell::testing {

/// What the stand-in backend received, and what it thinks of it. A plain value.
struct TIDEWELL_EXPORT StandInRequest {
  double time = 0;               ///< seconds since 1970, when it had been read whole
  std::uint64_t connection = 0;  ///< equal for requests that came on one connection; the first is 1
  std::string serverName;        ///< the name that TLS asked for
  std::string host;              ///< the Host header as it came, port included
  std::string method;
  std::string path;                                          ///< as it came, still percent-encoded
  std::string query;                                         ///< what stands after the question mark, or ""
  std::vector<std::pair<std::string, std::string>> headers;  ///< in order, names as they came
  std::string body;
  std::optional<int> service;         ///< the `TWService` whose path it has
  std::vector<std::string> problems;  ///< a sentence for each thing that a real backend would object to
  std::string fault;                  ///< the fault that it met, or ""

  /// The value of the first header of the name, whatever its case.
  [[nodiscard]] std::optional<std::string> header(std::string_view name) const;
  /// One JSON object on one line, without a line feed. A body that is not UTF-8 comes as "body_base64".
  [[nodiscard]] std::string json() const;
};

}  // namespace tidewell::testing

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

inline constexpr std::string_view kCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::string_view kUrlErrorDomain = "NSURLErrorDomain";
inline constexpr std::string_view kPosixErrorDomain = "NSPOSIXErrorDomain";

/// An error as the platform reports it: a domain, a code within that domain, and a sentence. A plain value
/// type.
struct TIDEWELL_EXPORT Error {
  std::string domain;
  std::int64_t code = 0;
  std::string localizedDescription;

  /// `Error Domain=NSURLErrorDomain Code=-1001 "The request timed out."`
  [[nodiscard]] std::string description() const;
  friend bool operator==(const Error&, const Error&) = default;
};

}  // namespace tidewell::base

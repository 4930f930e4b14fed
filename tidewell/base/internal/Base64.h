// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Base64 (RFC 4648, section 4) with padding, on one line.
[[nodiscard]] TIDEWELL_EXPORT std::string base64(std::string_view bytes);
/// The bytes. Skips white space as XML has it; padding may be missing. No value for any other character, data
/// after padding, or a single digit at the end.
[[nodiscard]] TIDEWELL_EXPORT std::optional<std::string> bytesInBase64(std::string_view text);

}  // namespace tidewell::base

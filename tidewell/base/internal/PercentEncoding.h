// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Percent-encodes every byte (RFC 3986, section 2.1; upper-case hex) except letters, digits, `-._~` and the
/// characters in `keep`.
[[nodiscard]] TIDEWELL_EXPORT std::string percentEncode(std::string_view text, std::string_view keep);
/// Replaces each `%XX` by its byte. A per cent sign without two hexadecimal digits stays.
[[nodiscard]] TIDEWELL_EXPORT std::string percentDecode(std::string_view text);
/// A file name derived from an identifier: percent-encoded, including a leading full stop, so that it is one
/// path component and never "." or "..".
[[nodiscard]] TIDEWELL_EXPORT std::string fileNameForIdentifier(std::string_view identifier);

}  // namespace tidewell::base

#pragma once

#include <string>
#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// The text with every byte that is neither a letter, a digit, one of `-._~` nor in `keep` as `%XX` (RFC
/// 3986, section 2.1; upper-case hex).
[[nodiscard]] TIDEWELL_EXPORT std::string percentEncode(std::string_view text, std::string_view keep);
/// The text with each `%XX` replaced by its byte; a per cent sign without two hexadecimal digits stays.
[[nodiscard]] TIDEWELL_EXPORT std::string percentDecode(std::string_view text);
/// A name for a file or folder made of an identifier: percent-encoded, with a leading full stop escaped too,
/// so that it is one path component and never "." or "..".
[[nodiscard]] TIDEWELL_EXPORT std::string fileNameForIdentifier(std::string_view identifier);

}  // namespace tidewell::base

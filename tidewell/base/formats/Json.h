// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Deeper nesting is an error in reading and in writing. The platform's own limit.
inline constexpr int kMaximumJsonDepth = 512;

/// Reads a JSON text (RFC 8259) in UTF-8, UTF-16 or UTF-32, with or without a byte-order mark.
///
/// Returns nil for malformed text and fills `error` if given; never raises. The top level must be an array or
/// a dictionary. Integers become signed 64-bit numbers if they fit, else unsigned, else floating point. For
/// duplicate keys the first value wins. One trailing comma before a closing bracket is accepted. Time and
/// memory are linear in the length of the text.
[[nodiscard]] TIDEWELL_EXPORT Value JSONObjectWithData(std::string_view bytes, Error* error = nullptr);

enum class JsonWriting { compact, prettyPrinted };

/// Writes an array or a dictionary as the platform does: `/` as `\/`, keys in insertion order, whole
/// floating-point numbers without a fraction; pretty-printed with two spaces per level and ` : `.
///
/// Raises `kInvalidArgumentException` for any other top level, for NaN and infinity, for nesting beyond
/// `kMaximumJsonDepth`, and for values that JSON cannot represent ("Invalid type in JSON write (NSDate)").
[[nodiscard]] TIDEWELL_EXPORT std::string dataWithJSONObject(const Value& object,
                                                             JsonWriting options = JsonWriting::compact);

}  // namespace tidewell::base

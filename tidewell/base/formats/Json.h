#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Error.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Containers nested more deeply are an error, in reading and in writing. The platform's own bound.
inline constexpr int kMaximumJsonDepth = 512;

/// Reads a JSON text (RFC 8259) in UTF-8, UTF-16 or UTF-32, with or without a byte-order mark.
///
/// Answers nil, and fills `error` where one is given, for anything malformed; never raises. The top level is
/// an array or a dictionary. Integers that fit are signed 64-bit, else unsigned, else floating point. Of two
/// equal keys the first counts. One trailing comma before a closing bracket is accepted. Time and memory are
/// linear in the text.
[[nodiscard]] TIDEWELL_EXPORT Value JSONObjectWithData(std::string_view bytes, Error* error = nullptr);

enum class JsonWriting { compact, prettyPrinted };

/// Writes an array or a dictionary as the platform does: `/` as `\/`, keys in order of insertion, whole
/// floating-point numbers without a fraction, two blanks a level and ` : ` when pretty-printed.
///
/// Raises `kInvalidArgumentException` for another top level, for NaN and infinity, for nesting beyond
/// `kMaximumJsonDepth`, and for values that JSON cannot carry ("Invalid type in JSON write (NSDate)").
[[nodiscard]] TIDEWELL_EXPORT std::string dataWithJSONObject(const Value& object,
                                                             JsonWriting options = JsonWriting::compact);

}  // namespace tidewell::base

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Bounds on property lists that are read: what no file of this library comes near, and what a hostile one
/// may cost.
inline constexpr std::size_t kMaximumPropertyListBytes = 64u << 20;
inline constexpr int kMaximumPropertyListDepth = 512;

/// Reads a property list, binary or XML: dictionaries, arrays, strings, numbers, booleans, dates, data. nil
/// for anything malformed or beyond the bounds. Never raises. (A reference of a keyed archive, which has no
/// value of its own, makes the list malformed.)
[[nodiscard]] TIDEWELL_EXPORT Value propertyListWithData(std::string_view bytes);

enum class PropertyListFormat { binary, xml };

/// Writes a property list. Raises `kInvalidArgumentException` for a value that a property list cannot carry
/// (nil, null, URLs, pointers, objects) at any depth.
[[nodiscard]] TIDEWELL_EXPORT std::string dataWithPropertyList(const Value& value, PropertyListFormat format);

}  // namespace tidewell::base

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Limits for property lists that are read. Files of this library stay far below them; they bound the cost of
/// hostile ones.
inline constexpr std::size_t kMaximumPropertyListBytes = 64u << 20;
inline constexpr int kMaximumPropertyListDepth = 512;

/// Reads a property list, binary or XML: dictionaries, arrays, strings, numbers, booleans, dates and data.
/// nil for malformed bytes (including references of keyed archives) and beyond the limits. Never raises.
[[nodiscard]] TIDEWELL_EXPORT Value propertyListWithData(std::string_view bytes);

enum class PropertyListFormat { binary, xml };

/// Writes a property list. Raises `kInvalidArgumentException` if the value contains, at any depth, one that a
/// property list cannot hold (nil, null, URLs, pointers, objects).
[[nodiscard]] TIDEWELL_EXPORT std::string dataWithPropertyList(const Value& value, PropertyListFormat format);

}  // namespace tidewell::base

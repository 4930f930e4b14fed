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

/// The key of a dictionary that stands for a reference of a keyed archive, as XML property lists write it.
inline constexpr std::string_view kArchiveReferenceKey = "CF$UID";

/// The same for the undecoded contents of a keyed archive, for tools that show and convert archives: a
/// reference is a dictionary with the only key `kArchiveReferenceKey` and the number of the object. nil also
/// for contents of more than `kMaximumArchiveContents` values.
inline constexpr std::size_t kMaximumArchiveContents = 1u << 20;
[[nodiscard]] TIDEWELL_EXPORT Value archiveContentsWithData(std::string_view bytes);

/// Writes such contents. Raises as `dataWithPropertyList` does, and for a reference that is no number from 0
/// to 4294967295.
[[nodiscard]] TIDEWELL_EXPORT std::string dataWithArchiveContents(const Value& contents,
                                                                  PropertyListFormat format);

}  // namespace tidewell::base

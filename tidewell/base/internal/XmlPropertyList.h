#pragma once

#include <string>
#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/PropertyListBounds.h"

namespace tidewell::base::detail {

/// Reads an XML property list (UTF-8); nil for anything malformed or beyond the bounds. Takes no entities but
/// the five of XML and character references, so a text can not grow while it is read.
[[nodiscard]] Value readXmlPropertyList(std::string_view text, ArchiveReferences references,
                                        std::uint64_t maximumObjects = kMaximumObjects);

/// Writes what `dataWithPropertyList` has found fit for a property list. Raises `kInvalidArgumentException`
/// for texts with characters that XML does not have, and for dates outside the years 1 to 9999.
[[nodiscard]] std::string writeXmlPropertyList(const Value& value);

}  // namespace tidewell::base::detail

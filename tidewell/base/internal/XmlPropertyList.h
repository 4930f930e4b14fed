// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/PropertyListBounds.h"

namespace tidewell::base::detail {

/// Reads an XML property list (UTF-8); nil if it is malformed or beyond the bounds. Accepts only the five
/// predefined entities of XML and character references, so that a text cannot grow while it is read.
[[nodiscard]] Value readXmlPropertyList(std::string_view text, ArchiveReferences references,
                                        std::uint64_t maximumObjects = kMaximumObjects);

/// Writes a value that `dataWithPropertyList` has checked. Raises `kInvalidArgumentException` for text with
/// characters that XML does not allow, and for dates outside the years 1 to 9999.
[[nodiscard]] std::string writeXmlPropertyList(const Value& value);

}  // namespace tidewell::base::detail

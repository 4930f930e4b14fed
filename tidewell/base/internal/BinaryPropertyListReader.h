#pragma once

#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/PropertyListBounds.h"

namespace tidewell::base::detail {

[[nodiscard]] bool isBinaryPropertyList(std::string_view bytes);

/// Reads a binary property list; nil for anything malformed or beyond the bounds.
///
/// Each object is read once and shared by all that refer to it, and objects may not overlap: so time and
/// memory are linear in the bytes, whatever they say.
[[nodiscard]] Value readBinaryPropertyList(std::string_view bytes, ArchiveReferences references,
                                           std::uint64_t maximumObjects = kMaximumObjects);

}  // namespace tidewell::base::detail

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/PropertyListBounds.h"

namespace tidewell::base::detail {

[[nodiscard]] bool isBinaryPropertyList(std::string_view bytes);

/// Reads a binary property list; nil if it is malformed or beyond the bounds.
///
/// Objects may not overlap, and each is read once and shared by all references to it, so time and memory are
/// linear in the size of the bytes even for hostile ones.
[[nodiscard]] Value readBinaryPropertyList(std::string_view bytes, ArchiveReferences references,
                                           std::uint64_t maximumObjects = kMaximumObjects);

}  // namespace tidewell::base::detail

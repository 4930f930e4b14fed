// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "tidewell/base/Value.h"

/// Shared by the readers of property lists and archives: the limit on a list's size as a tree, and the
/// representation of an archive's references.
namespace tidewell::base::detail {

/// A few bytes can refer to each other so that the tree they describe is practically infinite for anything
/// that walks it (printing, comparing, writing). Readers share objects and do not pay for that, but users of
/// the result would; so a list with a larger tree is refused. Ten million short strings fit.
inline constexpr std::uint64_t kMaximumTreeSize = 256u << 20;
/// What a value adds to that size beside its bytes: roughly its size in memory.
inline constexpr std::uint64_t kTreeSizeOfValue = 24;

/// The most objects read from a list, and also the most entries of its containers together.
inline constexpr std::uint64_t kMaximumObjects = 8u << 20;

/// Whether a reader accepts references of keyed archives or treats a list with one as malformed.
enum class ArchiveReferences { malformed, allowed };

/// A reference represented as a boxed pointer, which property lists never contain. Never leaves `base`.
inline Value valueOfReference(std::uint64_t index) {
  return BoxedPointer{reinterpret_cast<const void*>(static_cast<std::uintptr_t>(index))};
}
inline const BoxedPointer* referenceIn(const Value& value) { return value.pointer(); }
inline std::size_t indexOf(BoxedPointer reference) {
  return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(reference.address));
}

}  // namespace tidewell::base::detail

#pragma once

#include <cstddef>
#include <cstdint>

#include "tidewell/base/Value.h"

/// What readers of property lists and archives share: how large a list may be once every shared part is
/// counted as often as it is referred to, and what stands for a reference of an archive.
namespace tidewell::base::detail {

/// A few bytes can refer to each other so that the tree they describe is endless for every purpose (printing,
/// comparing, writing). Readers share what is shared and so never pay for it, but whoever walks the result
/// would; so a list is refused whose tree is larger than this. Ten million short strings fit.
inline constexpr std::uint64_t kMaximumTreeSize = 256u << 20;
/// What a value counts for in such a tree, beside its bytes: about what it takes in memory.
inline constexpr std::uint64_t kTreeSizeOfValue = 24;

/// At most so many objects of a list are read, and so many entries of its containers together.
inline constexpr std::uint64_t kMaximumObjects = 8u << 20;

/// Whether a reader takes the references of keyed archives, or calls a list with one malformed.
enum class ArchiveReferences { malformed, allowed };

/// A reference as a value: a boxed pointer, for property lists hold none. Never leaves base.
inline Value valueOfReference(std::uint64_t index) {
  return BoxedPointer{reinterpret_cast<const void*>(static_cast<std::uintptr_t>(index))};
}
inline const BoxedPointer* referenceIn(const Value& value) { return value.pointer(); }
inline std::size_t indexOf(BoxedPointer reference) {
  return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(reference.address));
}

}  // namespace tidewell::base::detail

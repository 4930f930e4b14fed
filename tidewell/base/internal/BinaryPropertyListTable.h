// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/PropertyListBounds.h"

namespace tidewell::base::detail {

/// Random access to the objects of a binary property list, in place: opening a list and looking at one object
/// take constant time, whatever the size of the list. Objects may overlap and refer to themselves, so callers
/// that follow references must bound the walk.
class BinaryPropertyListTable {
 public:
  /// An object's kind, its length or count, and the offset of its content.
  struct Head {
    unsigned kind = 0;
    unsigned low = 0;  ///< the low half of the marker
    std::uint64_t count = 0;
    std::size_t content = 0;
  };
  static constexpr unsigned kReference = 0x8;
  static constexpr unsigned kArray = 0xa;
  static constexpr unsigned kDictionary = 0xd;

  /// No value if the header or trailer is malformed. Keeps a view of the bytes.
  [[nodiscard]] static std::optional<BinaryPropertyListTable> open(std::string_view bytes);

  [[nodiscard]] std::size_t count() const noexcept { return count_; }
  [[nodiscard]] std::size_t root() const noexcept { return root_; }
  [[nodiscard]] std::size_t referenceSize() const noexcept { return referenceSize_; }
  [[nodiscard]] std::size_t bytesOfObjects() const noexcept;

  /// No value for an index beyond the end, or an object that does not start within the object area.
  [[nodiscard]] std::optional<Head> headOf(std::uint64_t index) const;
  /// `count` units of content; no value if they extend beyond the object area.
  [[nodiscard]] std::optional<std::string_view> contentOf(const Head& head, std::uint64_t count,
                                                          std::uint64_t unit) const;
  /// The index of the object that a container refers to at a position.
  [[nodiscard]] std::uint64_t referenceAt(std::string_view references, std::size_t position) const;

  /// The content length of an object that is not a container; no value for any other marker.
  [[nodiscard]] static std::optional<std::uint64_t> lengthOf(const Head& head);
  /// The value of an object that is not a container, from its whole content; nil for a number out of range.
  [[nodiscard]] static Value valueOf(const Head& head, std::string_view content);

 private:
  std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t tableOffset_ = 0;
  std::size_t root_ = 0;
  std::size_t count_ = 0;
};

}  // namespace tidewell::base::detail

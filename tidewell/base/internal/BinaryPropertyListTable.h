#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/base/internal/PropertyListBounds.h"

namespace tidewell::base::detail {

/// Finds the objects of a binary property list by their numbers, in the bytes themselves: opening a list and
/// looking at one object cost the same however large the list is. Objects may overlap and refer to
/// themselves; whoever follows references has to bound the walk.
class BinaryPropertyListTable {
 public:
  /// The head of an object: its kind, its length or count, and where its content begins.
  struct Head {
    unsigned kind = 0;
    unsigned low = 0;  ///< the low half of the marker
    std::uint64_t count = 0;
    std::size_t content = 0;
  };
  static constexpr unsigned kReference = 0x8;
  static constexpr unsigned kArray = 0xa;
  static constexpr unsigned kDictionary = 0xd;

  /// No value for bytes whose header or trailer is wrong. Keeps a view of the bytes.
  [[nodiscard]] static std::optional<BinaryPropertyListTable> open(std::string_view bytes);

  [[nodiscard]] std::size_t count() const noexcept { return count_; }
  [[nodiscard]] std::size_t root() const noexcept { return root_; }
  [[nodiscard]] std::size_t referenceSize() const noexcept { return referenceSize_; }
  [[nodiscard]] std::size_t bytesOfObjects() const noexcept;

  /// No value beyond the end, and for an object that does not begin among the objects.
  [[nodiscard]] std::optional<Head> headOf(std::uint64_t index) const;
  /// `count` units of content; no value where the objects end before.
  [[nodiscard]] std::optional<std::string_view> contentOf(const Head& head, std::uint64_t count,
                                                          std::uint64_t unit) const;
  /// The number of the object that a place in the content of a container refers to.
  [[nodiscard]] std::uint64_t referenceAt(std::string_view references, std::size_t position) const;

  /// The length of the content of an object that is no container; no value for other markers.
  [[nodiscard]] static std::optional<std::uint64_t> lengthOf(const Head& head);
  /// The value of an object that is no container, from its whole content; nil for a number that does not fit.
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

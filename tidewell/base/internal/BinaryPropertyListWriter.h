// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Date.h"

namespace tidewell::base::detail {

/// Builds a binary property list object by object. Objects are identified by their index in the order of
/// insertion; equal strings, numbers, dates and data share one object. The first object added is the root.
///
/// Objects that are not containers are encoded in their final place immediately, so that a long list is
/// neither held nor copied twice. Containers follow at the end, when the width of an object reference is
/// known.
class BinaryPropertyListWriter {
 public:
  using Index = std::uint32_t;

  Index addBoolean(bool value);
  Index addInteger(std::int64_t value);
  Index addUnsigned(std::uint64_t value);
  Index addReal(double value);
  Index addDate(Date value);
  Index addString(std::string_view text);
  Index addData(std::string_view bytes);
  /// A reference to an object of a keyed archive. Not compared with earlier ones, since an archive adds each
  /// only once.
  Index addReference(std::uint64_t index);
  /// An empty container to be filled later, so that it can precede its entries.
  Index addContainer();
  void setArray(Index container, const std::vector<Index>& entries);
  /// `keys` are strings; `values` has the same size.
  void setDictionary(Index container, const std::vector<Index>& keys, const std::vector<Index>& values);

  /// Reserves room for that many further values and the references to them, so that a long list does not
  /// reallocate repeatedly.
  void expect(std::size_t count);

  [[nodiscard]] std::size_t count() const noexcept { return objects_.size(); }
  /// Finishes the list. Nothing may be added afterwards.
  [[nodiscard]] std::string finish();

 private:
  enum class Kind : std::uint8_t { encoded, array, dictionary };
  /// Kept small: a long list has two million of these.
  struct Object {
    Object(std::size_t start, Kind is) noexcept : begin(start), kind(is) {}

    std::uint64_t begin : 62;  ///< in `out_`; for a container, in `entries_`, where its count comes first
    Kind kind : 2;
  };
  static_assert(sizeof(Object) == 8);
  /// An entry of the hash table. Holds the hash, so that the bytes of other objects, which are no longer
  /// cached in a long list, are rarely compared.
  struct Slot {
    std::uint32_t hash = 0;
    Index stored = 0;  ///< one more than the object's index; 0 if the slot is free
  };

  /// Adds what was encoded since `begin` as an object, or drops it and returns an equal one.
  Index addEncodedFrom(std::size_t begin);
  Index push(const Object& object);
  void growTable(std::size_t size);
  void appendInteger(std::uint64_t value);

  std::string out_ = "bplist00";
  std::vector<Index> entries_ = {0};  ///< begins with the count shared by all empty containers
  std::vector<Object> objects_;
  /// Open-addressing hash table of encoded objects; a power of two in size, at most half full.
  std::vector<Slot> table_;
  std::size_t tabledCount_ = 0;
};

}  // namespace tidewell::base::detail

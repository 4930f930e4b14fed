#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Date.h"

namespace tidewell::base::detail {

/// Builds a binary property list object by object. Objects are known by their numbers, in the order in which
/// they were added; equal strings, numbers, dates and data have one. The root is the object added first.
///
/// What is no container is written where it will lie as soon as it is added, so that a long list is neither
/// held nor copied twice. Containers come behind, when it is known how wide a number has to be.
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
  /// A reference to an object of a keyed archive, which adds each once: it is not compared with others.
  Index addReference(std::uint64_t index);
  /// A container without entries, whose entries are set later (so that it may stand before them).
  Index addContainer();
  void setArray(Index container, const std::vector<Index>& entries);
  /// As many values as keys; the keys are strings.
  void setDictionary(Index container, const std::vector<Index>& keys, const std::vector<Index>& values);

  /// Makes room for so many further values and the references to them, so that a long list does not outgrow
  /// it time and again.
  void expect(std::size_t count);

  [[nodiscard]] std::size_t count() const noexcept { return objects_.size(); }
  /// Ends the list: nothing may be added any more.
  [[nodiscard]] std::string finish();

 private:
  enum class Kind : std::uint8_t { encoded, array, dictionary };
  /// Small, as a long list has two million of them.
  struct Object {
    Object(std::size_t start, Kind is) noexcept : begin(start), kind(is) {}

    std::uint64_t begin : 62;  ///< in `out_`; of a container, in `entries_`, where its count comes first
    Kind kind : 2;
  };
  static_assert(sizeof(Object) == 8);
  /// A place of the table. It holds the hash, so that a look at another object's bytes is rare: in a long
  /// list they are in no cache any more.
  struct Slot {
    std::uint32_t hash = 0;
    Index stored = 0;  ///< one more than the object's number; 0 where the slot is free
  };

  /// Makes an object of what was encoded since `begin`, or finds the equal one.
  Index addEncodedFrom(std::size_t begin);
  Index push(const Object& object);
  void growTable(std::size_t size);
  void appendInteger(std::uint64_t value);

  std::string out_ = "bplist00";
  std::vector<Index> entries_ = {0};  ///< the count of a container without entries comes first
  std::vector<Object> objects_;
  /// Encoded objects by the hash of their bytes, open addressing; a power of two of which at most half is
  /// used.
  std::vector<Slot> table_;
  std::size_t tabledCount_ = 0;
};

}  // namespace tidewell::base::detail

#pragma once  // Internal: not installed.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Date.h"

namespace tidewell::base::detail {

/// Builds a binary property list object by object. Objects are known by their numbers, in the order in which
/// they were added; equal strings, numbers, dates and data have one. The root is the object added first.
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
  /// A reference to an object of a keyed archive.
  Index addReference(std::uint64_t index);
  /// A container without entries, whose entries are set later (so that it may stand before them).
  Index addContainer();
  void setArray(Index container, const std::vector<Index>& entries);
  /// As many values as keys; the keys are strings.
  void setDictionary(Index container, const std::vector<Index>& keys, const std::vector<Index>& values);

  [[nodiscard]] std::size_t count() const noexcept { return objects_.size(); }
  [[nodiscard]] std::string finish() const;

 private:
  enum class Kind : std::uint8_t { encoded, array, dictionary };
  struct Object {
    std::uint64_t begin = 0;  ///< in `encoded_`, or in `entries_`
    std::uint64_t length = 0;
    Kind kind = Kind::encoded;
  };

  /// Makes an object of what was encoded since `begin`, or finds the equal one.
  Index addEncodedFrom(std::size_t begin);
  [[nodiscard]] std::string_view encodedBytesOf(Index index) const;
  void growTable();
  void appendInteger(std::uint64_t value);

  std::string encoded_;  ///< the bytes of all objects but containers
  std::vector<Index> entries_;
  std::vector<Object> objects_;
  /// Numbers of encoded objects by the hash of their bytes, open addressing; a number is stored plus one.
  std::vector<Index> table_;
  std::size_t encodedCount_ = 0;
};

}  // namespace tidewell::base::detail

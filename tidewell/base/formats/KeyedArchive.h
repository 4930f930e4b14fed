// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Writes the keys of one record into a keyed archive. Valid only during `archivedDataWithRecord`, on its
/// thread.
class TIDEWELL_EXPORT KeyedEncoder {
 public:
  virtual ~KeyedEncoder();
  /// nil is written as a reference to "$null". Raises for a value that an archive cannot hold.
  virtual void encodeObject(const Value& object, std::string_view forKey) = 0;
  virtual void encodeInt64(std::int64_t value, std::string_view forKey) = 0;
  virtual void encodeBool(bool value, std::string_view forKey) = 0;
};

/// Reads the keys of one record of a keyed archive. Valid only during `unarchiveRecord`, on its thread.
class TIDEWELL_EXPORT KeyedDecoder {
 public:
  virtual ~KeyedDecoder();
  /// nil if the key is missing or refers to "$null"; a number or string stored in place of an object is
  /// returned as is. Raises `kInvalidUnarchiveOperationException` for an object of an unknown class, for a
  /// cycle, and beyond the bounds below; other keys remain readable.
  [[nodiscard]] virtual Value decodeObjectForKey(std::string_view key) = 0;
  /// 0 if the key is missing or does not hold a number.
  [[nodiscard]] virtual std::int64_t decodeInt64ForKey(std::string_view key) = 0;
  /// false if the key is missing or holds neither a boolean nor a number.
  [[nodiscard]] virtual bool decodeBoolForKey(std::string_view key) = 0;
};

/// The deepest nesting accepted when reading. Each object is decoded once, however often it is referred to,
/// so time and memory are linear in the size of the archive.
inline constexpr int kMaximumArchiveDepth = 512;
/// The largest archive accepted when reading.
struct ArchiveBounds {
  std::size_t bytes = 64u << 20;
  /// Objects in the underlying property list; also the limit for all entries of its containers together. An
  /// archived scalar takes two objects, an array three, a dictionary four plus two per key.
  std::uint64_t objects = 8u << 20;
};

/// The bytes of a keyed archive ("$archiver" NSKeyedArchiver, binary property list) whose root is a record of
/// class `className` (superclass NSObject) with the keys that `encode` writes, in that order. Equal strings
/// are stored once. Propagates exceptions of `encode`.
[[nodiscard]] TIDEWELL_EXPORT std::string archivedDataWithRecord(
    std::string_view className, const std::function<void(KeyedEncoder&)>& encode);

/// Reads an archive, binary or XML, whose root is a record of class `className` (or of a subclass), and
/// passes its keys to `decode`. Returns false without a call if the root is "$null". Raises
/// `kInvalidUnarchiveOperationException` for bytes that are not such an archive or exceed the bounds;
/// propagates exceptions of `decode`.
TIDEWELL_EXPORT bool unarchiveRecord(std::string_view bytes, std::string_view className,
                                     const std::function<void(KeyedDecoder&)>& decode,
                                     const ArchiveBounds& bounds = {});

/// The numbers, booleans and short strings of the root record of a binary archive, by key. Reads nothing
/// else, so the rest may be huge or corrupt. No value if the root is not a record of class `className` (or of
/// a subclass). Time and memory depend only on the number of keys.
[[nodiscard]] TIDEWELL_EXPORT std::optional<Dictionary> scalarsOfArchivedRecord(std::string_view bytes,
                                                                                std::string_view className);

/// The bytes of a keyed archive whose root is a plain value: string, number, date, data, null, array or
/// dictionary.
[[nodiscard]] TIDEWELL_EXPORT std::string archivedDataWithRootObject(const Value& object);
/// The plain value at the root of an archive; nil for a "$null" root. Raises
/// `kInvalidUnarchiveOperationException` for bytes that are not an archive of such a value.
[[nodiscard]] TIDEWELL_EXPORT Value unarchiveObjectWithData(std::string_view bytes);

}  // namespace tidewell::base

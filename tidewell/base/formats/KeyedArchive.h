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

/// Writes the keys of one record into a keyed archive. Lives only during `archivedDataWithRecord`; one
/// thread.
class TIDEWELL_EXPORT KeyedEncoder {
 public:
  virtual ~KeyedEncoder();
  /// nil is written as a reference to "$null". Raises for a value that an archive cannot carry.
  virtual void encodeObject(const Value& object, std::string_view forKey) = 0;
  virtual void encodeInt64(std::int64_t value, std::string_view forKey) = 0;
  virtual void encodeBool(bool value, std::string_view forKey) = 0;
};

/// Reads the keys of one record of a keyed archive. Lives only during `unarchiveRecord`; one thread.
class TIDEWELL_EXPORT KeyedDecoder {
 public:
  virtual ~KeyedDecoder();
  /// nil where the key is missing or refers to "$null"; a number or text that stands in place of an object is
  /// taken as it is. Raises `kInvalidUnarchiveOperationException` for an object whose class is not known, for
  /// a cycle, and beyond the bounds below; other keys can be read all the same.
  [[nodiscard]] virtual Value decodeObjectForKey(std::string_view key) = 0;
  /// 0 where the key is missing or holds no number.
  [[nodiscard]] virtual std::int64_t decodeInt64ForKey(std::string_view key) = 0;
  /// false where the key is missing or holds neither a boolean nor a number.
  [[nodiscard]] virtual bool decodeBoolForKey(std::string_view key) = 0;
};

/// How deeply an archive that is read may be nested. Each object is decoded once, however often it is
/// referred to, so time and memory are linear in the bytes.
inline constexpr int kMaximumArchiveDepth = 512;
/// How large an archive may be that is read.
struct ArchiveBounds {
  std::size_t bytes = 64u << 20;
  /// Objects of the property list below the archive, and entries of its containers together. An archived
  /// value takes two objects, an array three, a dictionary four and two for each key.
  std::uint64_t objects = 8u << 20;
};

/// The bytes of a keyed archive ("$archiver" NSKeyedArchiver, binary property list) whose root is a record of
/// class `className` (superclass NSObject) with the keys that `encode` writes, in that order. Equal strings
/// are shared. Raises what `encode` raises.
[[nodiscard]] TIDEWELL_EXPORT std::string archivedDataWithRecord(
    std::string_view className, const std::function<void(KeyedEncoder&)>& encode);

/// Reads an archive, binary or XML, whose root is a record of class `className` (or of a subclass of it), and
/// hands its keys to `decode`. A root that is "$null" answers NO without a call. Raises
/// `kInvalidUnarchiveOperationException` for bytes that are not such an archive or beyond the bounds, and
/// what `decode` raises.
TIDEWELL_EXPORT bool unarchiveRecord(std::string_view bytes, std::string_view className,
                                     const std::function<void(KeyedDecoder&)>& decode,
                                     const ArchiveBounds& bounds = {});

/// The numbers, booleans and short texts of the record at the root of a binary archive, by their keys, read
/// without anything else of it: however large the rest is, or broken. No value where the root is no record of
/// class `className` (or of a subclass of it). Time and memory depend on the number of keys only.
[[nodiscard]] TIDEWELL_EXPORT std::optional<Dictionary> scalarsOfArchivedRecord(std::string_view bytes,
                                                                                std::string_view className);

/// The bytes of a keyed archive whose root is a plain value: string, number, date, data, null, array,
/// dictionary.
[[nodiscard]] TIDEWELL_EXPORT std::string archivedDataWithRootObject(const Value& object);
/// The plain value at the root of an archive; nil for a "$null" root. Raises
/// `kInvalidUnarchiveOperationException` for bytes that are not an archive of such a value.
[[nodiscard]] TIDEWELL_EXPORT Value unarchiveObjectWithData(std::string_view bytes);

}  // namespace tidewell::base

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Shared.h"

namespace tidewell::base {

class Value;

/// A map from text to values that keeps insertion order, so that payloads and log lines are reproducible.
///
/// Copies share their entries until one of them is modified. Lookup takes constant time even for keys chosen
/// by an attacker. Any number of threads may read one; writing needs exclusive access.
class TIDEWELL_EXPORT Dictionary {
 public:
  struct Entry;

  Dictionary() noexcept = default;
  /// If a key occurs twice, the later value replaces the first one in its place. Raises
  /// `kInvalidArgumentException` for a nil value.
  Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries);

  [[nodiscard]] std::size_t count() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return count() == 0; }
  /// nil if there is no such key.
  [[nodiscard]] Value objectForKey(std::string_view key) const;
  /// The stored value, or null if there is no such key. Valid until the dictionary is modified or destroyed.
  [[nodiscard]] const Value* find(std::string_view key) const noexcept;
  /// Appends a new key; an existing key keeps its place. Raises `kInvalidArgumentException` for a nil object.
  void setObject(Value object, std::string_view forKey);
  /// Adds a pair unless the key exists; returns whether it was added. Raises as `setObject` does.
  bool addObject(std::string key, Value object);
  /// Does nothing if there is no such key. Linear in the number of entries.
  void removeObjectForKey(std::string_view key);
  void removeAllObjects() noexcept;
  /// Allocates room for that many entries.
  void reserve(std::size_t count);
  /// In insertion order.
  [[nodiscard]] std::vector<std::string> allKeys() const;

  [[nodiscard]] const Entry* begin() const noexcept;
  [[nodiscard]] const Entry* end() const noexcept;
  /// Ignores the order of entries.
  friend TIDEWELL_EXPORT bool operator==(const Dictionary& a, const Dictionary& b) noexcept;
  [[nodiscard]] std::string description() const;

 private:
  friend class Value;
  SharedPointer record_;
};

}  // namespace tidewell::base

#include "tidewell/base/Value.h"  // which needs the class above

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/base/Value.h"

// The records behind `Value`, `Array` and `Dictionary`. Internal to this layer.

namespace tidewell::base {

/// A record of one object that is not a container.
template <class T, SharedRecord::Content kContent>
struct Boxed final : SharedRecord {
  template <class... Args>
  explicit Boxed(Args&&... args) : SharedRecord(kContent), value(std::forward<Args>(args)...) {}
  T value;
};
using StringRecord = Boxed<std::string, SharedRecord::Content::string>;
using DataRecord = Boxed<Data, SharedRecord::Content::data>;
using UrlRecord = Boxed<Url, SharedRecord::Content::url>;
using ObjectRecord = Boxed<ObjectHandle, SharedRecord::Content::object>;

/// A record that holds values, which may themselves hold others.
struct ContainerRecord : SharedRecord {
  using SharedRecord::SharedRecord;
  ContainerRecord* next = nullptr;  // in the list of records awaiting destruction
};

struct ArrayRecord final : ContainerRecord {
  ArrayRecord() noexcept : ContainerRecord(Content::array) {}
  std::vector<Value> values;
};

/// Entries in order; for more than a handful also an open-addressing hash table of their indices.
struct DictionaryRecord final : ContainerRecord {
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t place = 0;  // one more than the entry's index; 0 if the slot is free
  };
  /// Up to this many entries a linear search is faster than a hash.
  static constexpr std::size_t kLinearSearchLimit = 8;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  DictionaryRecord() noexcept : ContainerRecord(Content::dictionary) {}
  [[nodiscard]] std::size_t indexOf(std::string_view key) const noexcept;
  /// The index of the key's entry, and whether it was added. If the key exists, neither argument is moved
  /// from.
  std::pair<std::size_t, bool> insert(std::string&& key, Value&& value);
  void reserve(std::size_t count);
  void remove(std::size_t index);

  std::vector<Dictionary::Entry> entries;

 private:
  [[nodiscard]] std::size_t indexOf(std::string_view key, std::uint32_t hash) const noexcept;
  void rebuild(std::size_t slotCount);
  void enter(std::uint32_t hash, std::size_t index) noexcept;

  std::vector<Slot> slots_;  // empty, or a power of two, at most three quarters full
};

}  // namespace tidewell::base

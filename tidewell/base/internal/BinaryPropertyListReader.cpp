// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/BinaryPropertyListReader.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/base/internal/BinaryPropertyListTable.h"

namespace tidewell::base::detail {

namespace {

class BinaryReader {
 public:
  BinaryReader(const BinaryPropertyListTable& table, ArchiveReferences references,
               std::uint64_t maximumObjects)
      : table_(table),
        references_(references),
        unclaimed_(table.bytesOfObjects()),
        entriesLeft_(maximumObjects),
        objects_(table.count()) {}

  Value read() {
    if (!readObject(table_.root(), 1)) return {};
    return objects_[table_.root()].value;
  }

 private:
  using Head = BinaryPropertyListTable::Head;
  enum class State : std::uint8_t { unread, reading, read };

  struct Object {
    Value value;
    std::uint64_t treeSize = 0;
    std::uint16_t height = 0;  ///< levels of nested containers, including this one
    State state = State::unread;
  };

  /// Claims content for one object; no value if fewer unclaimed bytes are left.
  std::optional<std::string_view> claim(const Head& head, std::uint64_t count, std::uint64_t unit) {
    const auto content = table_.contentOf(head, count, unit);
    if (!content || content->size() + 1 > unclaimed_) return std::nullopt;
    unclaimed_ -= content->size() + 1;
    return content;
  }

  /// Counts a container's entries against the limit for the whole list.
  bool countEntries(std::uint64_t count) {
    if (count > entriesLeft_) return false;
    entriesLeft_ -= count;
    return true;
  }

  bool readObject(std::uint64_t index, int depth) {
    if (index >= objects_.size()) return false;
    Object& object = objects_[static_cast<std::size_t>(index)];
    if (object.state == State::read) return depth + object.height <= kMaximumPropertyListDepth;
    if (object.state == State::reading || depth > kMaximumPropertyListDepth) return false;
    const auto head = table_.headOf(index);
    if (!head) return false;
    object.state = State::reading;
    object.treeSize = kTreeSizeOfValue;
    if (!readContent(*head, object, depth) || object.treeSize > kMaximumTreeSize) return false;
    object.state = State::read;
    return true;
  }

  bool readContent(const Head& head, Object& object, int depth) {
    if (head.kind == BinaryPropertyListTable::kArray) return readArray(head, object, depth);
    if (head.kind == BinaryPropertyListTable::kDictionary) return readDictionary(head, object, depth);
    if (head.kind == BinaryPropertyListTable::kReference && references_ == ArchiveReferences::malformed) {
      return false;
    }
    const auto length = BinaryPropertyListTable::lengthOf(head);
    const auto content = length ? claim(head, *length, 1) : std::nullopt;
    if (!content) return false;
    object.value = BinaryPropertyListTable::valueOf(head, *content);
    if (object.value.isString() || object.value.data()) object.treeSize += content->size();
    return !object.value.isNil();
  }

  /// Reads one entry and adds its size to the container's. Null if it is malformed.
  const Value* readEntry(std::string_view references, std::size_t position, Object& container, int depth) {
    const std::uint64_t index = table_.referenceAt(references, position);
    if (!readObject(index, depth + 1)) return nullptr;
    const Object& entry = objects_[static_cast<std::size_t>(index)];
    container.treeSize += entry.treeSize;
    container.height = std::max(container.height, static_cast<std::uint16_t>(entry.height + 1));
    return container.treeSize > kMaximumTreeSize ? nullptr : &entry.value;
  }

  bool readArray(const Head& head, Object& object, int depth) {
    const auto content = claim(head, head.count, table_.referenceSize());
    if (!content || !countEntries(head.count)) return false;
    std::vector<Value> values;
    values.reserve(static_cast<std::size_t>(head.count));
    for (std::size_t i = 0; i < head.count; ++i) {
      const Value* const entry = readEntry(*content, i, object, depth);
      if (!entry) return false;
      values.push_back(*entry);
    }
    object.value = Array(std::move(values));
    return true;
  }

  bool readDictionary(const Head& head, Object& object, int depth) {
    const auto content = claim(head, head.count, 2 * std::uint64_t{table_.referenceSize()});
    if (!content || !countEntries(head.count) || !countEntries(head.count)) return false;
    const auto count = static_cast<std::size_t>(head.count);
    Dictionary dictionary;
    dictionary.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      const Value* const key = readEntry(*content, i, object, depth);
      if (!key || !key->isString()) return false;
      const Value* const value = readEntry(*content, count + i, object, depth);
      if (!value) return false;
      dictionary.setObject(*value, *key->string());
    }
    object.value = Value(std::move(dictionary));
    return true;
  }

  const BinaryPropertyListTable& table_;
  ArchiveReferences references_;
  std::size_t unclaimed_;  ///< bytes of the object area that no object read so far occupies
  std::uint64_t entriesLeft_;
  std::vector<Object> objects_;
};

}  // namespace

Value readBinaryPropertyList(std::string_view bytes, ArchiveReferences references,
                             std::uint64_t maximumObjects) {
  const auto table = BinaryPropertyListTable::open(bytes);
  if (!table || table->count() > maximumObjects) return {};
  return BinaryReader(*table, references, maximumObjects).read();
}

}  // namespace tidewell::base::detail

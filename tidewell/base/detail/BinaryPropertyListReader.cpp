#include "tidewell/base/detail/BinaryPropertyListReader.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tidewell/base/PropertyList.h"
#include "tidewell/base/Unicode.h"

namespace tidewell::base::detail {

namespace {

constexpr std::string_view kMagic = "bplist0";
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

/// Objects of a list: more than a reply of 16 MiB can fill an archive with.
constexpr std::uint64_t kMaximumObjects = 8u << 20;

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char c : bytes) number = number << 8 | static_cast<std::uint8_t>(c);
  return number;
}

class Reader {
 public:
  Reader(std::string_view bytes, ArchiveReferences references) : bytes_(bytes), references_(references) {}

  Value read() {
    if (!readTrailer() || !readObject(rootIndex_, 1)) return {};
    return objects_[rootIndex_].value;
  }

 private:
  enum class State : std::uint8_t { unread, reading, read };

  struct Object {
    Value value;
    std::uint64_t treeSize = 0;
    std::uint16_t height = 0;  ///< containers from here down to the deepest leaf
    State state = State::unread;
  };

  /// The head of an object: its kind, its length or count, and where its content begins.
  struct Head {
    unsigned kind = 0;
    unsigned low = 0;  ///< the low half of the marker
    std::uint64_t count = 0;
    std::size_t content = 0;
  };

  bool readTrailer() {
    if (bytes_.size() < kHeaderSize + 1 + kTrailerSize) return false;
    const std::string_view trailer = bytes_.substr(bytes_.size() - kTrailerSize);
    offsetSize_ = static_cast<std::uint8_t>(trailer[6]);
    referenceSize_ = static_cast<std::uint8_t>(trailer[7]);
    const std::uint64_t count = bigEndian(trailer.substr(8, 8));
    rootIndex_ = bigEndian(trailer.substr(16, 8));
    const std::uint64_t table = bigEndian(trailer.substr(24, 8));
    const std::uint64_t end = bytes_.size() - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) return false;
    if (table < kHeaderSize || table >= end || count == 0 || rootIndex_ >= count) return false;
    // An object has at least one byte, and an offset, of its own.
    if (count > kMaximumObjects || count > table - kHeaderSize || count > (end - table) / offsetSize_) {
      return false;
    }
    tableOffset_ = static_cast<std::size_t>(table);
    unclaimed_ = tableOffset_ - kHeaderSize;
    objects_.resize(static_cast<std::size_t>(count));
    return true;
  }

  std::optional<Head> headOf(std::size_t index) const {
    const std::uint64_t offset = bigEndian(bytes_.substr(tableOffset_ + index * offsetSize_, offsetSize_));
    if (offset < kHeaderSize || offset >= tableOffset_) return std::nullopt;
    auto at = static_cast<std::size_t>(offset);
    const auto marker = static_cast<std::uint8_t>(bytes_[at++]);
    Head head{static_cast<unsigned>(marker) >> 4u, marker & 0xfu, marker & 0xfu, at};
    const bool counted = head.kind >= 0x4 && head.kind != 0x8;
    if (counted && head.low == 0xf) {
      // The count follows as an integer object.
      if (at >= tableOffset_) return std::nullopt;
      const auto size = static_cast<std::uint8_t>(bytes_[at++]);
      if (size >> 4u != 0x1 || (size & 0xfu) > 3) return std::nullopt;
      const std::size_t length = std::size_t{1} << (size & 0xfu);
      if (tableOffset_ - at < length) return std::nullopt;
      head.count = bigEndian(bytes_.substr(at, length));
      head.content = at + length;
    }
    return head;
  }

  /// Takes content out of what no object has claimed yet; nothing where the list has less.
  std::optional<std::string_view> claim(const Head& head, std::uint64_t count, std::uint64_t unit) {
    const std::size_t available = tableOffset_ - head.content;
    if (count > available / unit) return std::nullopt;
    const auto length = static_cast<std::size_t>(count * unit);
    if (length + 1 > unclaimed_) return std::nullopt;
    unclaimed_ -= length + 1;
    return bytes_.substr(head.content, length);
  }

  bool readObject(std::uint64_t index, int depth) {
    if (index >= objects_.size()) return false;
    Object& object = objects_[static_cast<std::size_t>(index)];
    if (object.state == State::read) return depth + object.height <= kMaximumPropertyListDepth;
    if (object.state == State::reading || depth > kMaximumPropertyListDepth) return false;
    const auto head = headOf(static_cast<std::size_t>(index));
    if (!head) return false;
    object.state = State::reading;
    object.treeSize = kTreeSizeOfValue;
    if (!readContent(*head, object, depth) || object.treeSize > kMaximumTreeSize) return false;
    object.state = State::read;
    return true;
  }

  bool readContent(const Head& head, Object& object, int depth) {
    switch (head.kind) {
      case 0x0:
        return readBoolean(head, object);
      case 0x1:
        return readInteger(head, object);
      case 0x2:
        return readReal(head, object);
      case 0x3:
        return readDate(head, object);
      case 0x4:
      case 0x5:
      case 0x6:
        return readBytes(head, object);
      case 0x8:
        return readReference(head, object);
      case 0xa:
        return readArray(head, object, depth);
      case 0xd:
        return readDictionary(head, object, depth);
      default:
        return false;
    }
  }

  bool readBoolean(const Head& head, Object& object) {
    if ((head.low != 0x8 && head.low != 0x9) || !claim(head, 0, 1)) return false;
    object.value = Value(head.low == 0x9);
    return true;
  }

  bool readInteger(const Head& head, Object& object) {
    if (head.low > 4) return false;
    const auto content = claim(head, std::uint64_t{1} << head.low, 1);
    if (!content) return false;
    if (head.low < 4) {
      // Shorter ones have no sign.
      object.value = static_cast<std::int64_t>(bigEndian(*content));
      return true;
    }
    const std::uint64_t high = bigEndian(content->substr(0, 8));
    const std::uint64_t low = bigEndian(content->substr(8));
    const bool negative = high == ~std::uint64_t{0} && low >> 63u == 1;
    if (high != 0 && !negative) return false;
    object.value = negative ? Value(static_cast<std::int64_t>(low)) : Value(low);
    return true;
  }

  bool readReal(const Head& head, Object& object) {
    if (head.low != 2 && head.low != 3) return false;
    const auto content = claim(head, std::uint64_t{1} << head.low, 1);
    if (!content) return false;
    const std::uint64_t bits = bigEndian(*content);
    object.value = head.low == 3
                       ? std::bit_cast<double>(bits)
                       : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    return true;
  }

  bool readDate(const Head& head, Object& object) {
    const auto content = head.low == 3 ? claim(head, 8, 1) : std::nullopt;
    if (!content) return false;
    object.value = Date{std::bit_cast<double>(bigEndian(*content)) + kReferenceDateOffset};
    return true;
  }

  /// Data and the two encodings of strings.
  bool readBytes(const Head& head, Object& object) {
    const bool isUtf16 = head.kind == 0x6;
    const auto content = claim(head, head.count, isUtf16 ? 2 : 1);
    if (!content) return false;
    object.treeSize += content->size();
    if (head.kind == 0x4) {
      object.value = Data(std::string(*content));
    } else if (isUtf16) {
      std::u16string units(content->size() / 2, u'\0');
      for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(bigEndian(content->substr(2 * i, 2)));
      }
      object.value = utf8FromUtf16(units);
    } else {
      object.value = isValidUtf8(*content) ? std::string(*content) : validUtf8(*content);
    }
    return true;
  }

  bool readReference(const Head& head, Object& object) {
    if (references_ == ArchiveReferences::malformed || head.low > 7) return false;
    const auto content = claim(head, head.low + 1, 1);
    if (!content) return false;
    object.value = valueOfReference(bigEndian(*content));
    return true;
  }

  /// Reads an entry of a container and counts it to the container. Null where it is malformed.
  const Value* readEntry(std::string_view references, std::size_t position, Object& container, int depth) {
    const std::uint64_t index = bigEndian(references.substr(position * referenceSize_, referenceSize_));
    if (!readObject(index, depth + 1)) return nullptr;
    const Object& entry = objects_[static_cast<std::size_t>(index)];
    container.treeSize += entry.treeSize;
    container.height = std::max(container.height, static_cast<std::uint16_t>(entry.height + 1));
    return container.treeSize > kMaximumTreeSize ? nullptr : &entry.value;
  }

  bool readArray(const Head& head, Object& object, int depth) {
    const auto content = claim(head, head.count, referenceSize_);
    if (!content || head.count > kMaximumTreeSize / kTreeSizeOfValue) return false;
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
    const auto content = claim(head, head.count, 2 * std::uint64_t{referenceSize_});
    if (!content || head.count > kMaximumTreeSize / (2 * kTreeSizeOfValue)) return false;
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

  std::string_view bytes_;
  ArchiveReferences references_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::size_t tableOffset_ = 0;
  std::uint64_t rootIndex_ = 0;
  std::size_t unclaimed_ = 0;  ///< bytes before the table that no object read so far lies in
  std::vector<Object> objects_;
};

}  // namespace

bool isBinaryPropertyList(std::string_view bytes) { return bytes.starts_with(kMagic); }

Value readBinaryPropertyList(std::string_view bytes, ArchiveReferences references) {
  return Reader(bytes, references).read();
}

}  // namespace tidewell::base::detail

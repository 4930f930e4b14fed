// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/BinaryPropertyListTable.h"

#include <bit>
#include <string>

#include "tidewell/base/internal/BinaryPropertyListReader.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base::detail {

namespace {

constexpr std::string_view kMagic = "bplist0";
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char c : bytes) number = number << 8 | static_cast<std::uint8_t>(c);
  return number;
}

Value integerFrom(std::string_view content) {
  // Integers of eight bytes are signed, shorter ones unsigned.
  if (content.size() <= 8) return static_cast<std::int64_t>(bigEndian(content));
  const std::uint64_t high = bigEndian(content.substr(0, 8));
  const std::uint64_t low = bigEndian(content.substr(8));
  const bool negative = high == ~std::uint64_t{0} && low >> 63u == 1;
  if (high != 0 && !negative) return {};
  return negative ? Value(static_cast<std::int64_t>(low)) : Value(low);
}

Value realFrom(std::string_view content) {
  const std::uint64_t bits = bigEndian(content);
  return content.size() == 8 ? std::bit_cast<double>(bits)
                             : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
}

Value textFromUtf16(std::string_view content) {
  std::u16string units(content.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(bigEndian(content.substr(2 * i, 2)));
  }
  return utf8FromUtf16(units);
}

}  // namespace

bool isBinaryPropertyList(std::string_view bytes) { return bytes.starts_with(kMagic); }

std::optional<BinaryPropertyListTable> BinaryPropertyListTable::open(std::string_view bytes) {
  if (!isBinaryPropertyList(bytes) || bytes.size() < kHeaderSize + 1 + kTrailerSize) return std::nullopt;
  const std::string_view trailer = bytes.substr(bytes.size() - kTrailerSize);
  BinaryPropertyListTable list;
  list.bytes_ = bytes;
  list.offsetSize_ = static_cast<std::uint8_t>(trailer[6]);
  list.referenceSize_ = static_cast<std::uint8_t>(trailer[7]);
  const std::uint64_t count = bigEndian(trailer.substr(8, 8));
  const std::uint64_t root = bigEndian(trailer.substr(16, 8));
  const std::uint64_t table = bigEndian(trailer.substr(24, 8));
  const std::uint64_t end = bytes.size() - kTrailerSize;
  if (list.offsetSize_ < 1 || list.offsetSize_ > 8) return std::nullopt;
  if (list.referenceSize_ < 1 || list.referenceSize_ > 8) return std::nullopt;
  if (table < kHeaderSize || table >= end || count == 0 || root >= count) return std::nullopt;
  // Every object has at least one byte and one offset of its own.
  if (count > table - kHeaderSize || count > (end - table) / list.offsetSize_) return std::nullopt;
  list.tableOffset_ = static_cast<std::size_t>(table);
  list.root_ = static_cast<std::size_t>(root);
  list.count_ = static_cast<std::size_t>(count);
  return list;
}

std::size_t BinaryPropertyListTable::bytesOfObjects() const noexcept { return tableOffset_ - kHeaderSize; }

std::optional<BinaryPropertyListTable::Head> BinaryPropertyListTable::headOf(std::uint64_t index) const {
  if (index >= count_) return std::nullopt;
  const std::size_t entry = tableOffset_ + static_cast<std::size_t>(index) * offsetSize_;
  const std::uint64_t offset = bigEndian(bytes_.substr(entry, offsetSize_));
  if (offset < kHeaderSize || offset >= tableOffset_) return std::nullopt;
  auto at = static_cast<std::size_t>(offset);
  const auto marker = static_cast<std::uint8_t>(bytes_[at++]);
  Head head{static_cast<unsigned>(marker) >> 4u, marker & 0xfu, marker & 0xfu, at};
  const bool counted = head.kind >= 0x4 && head.kind != kReference;
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

std::optional<std::string_view> BinaryPropertyListTable::contentOf(const Head& head, std::uint64_t count,
                                                                   std::uint64_t unit) const {
  const std::size_t available = tableOffset_ - head.content;
  if (count > available / unit) return std::nullopt;
  return bytes_.substr(head.content, static_cast<std::size_t>(count * unit));
}

std::uint64_t BinaryPropertyListTable::referenceAt(std::string_view references, std::size_t position) const {
  return bigEndian(references.substr(position * referenceSize_, referenceSize_));
}

std::optional<std::uint64_t> BinaryPropertyListTable::lengthOf(const Head& head) {
  using Length = std::optional<std::uint64_t>;
  switch (head.kind) {
    case 0x0:
      return head.low == 0x8 || head.low == 0x9 ? Length(0) : std::nullopt;
    case 0x1:
      return head.low <= 4 ? Length(std::uint64_t{1} << head.low) : std::nullopt;
    case 0x2:
      return head.low == 2 || head.low == 3 ? Length(std::uint64_t{1} << head.low) : std::nullopt;
    case 0x3:
      return head.low == 3 ? Length(8) : std::nullopt;
    case 0x4:
    case 0x5:
      return head.count;
    case 0x6:
      return head.count <= ~std::uint64_t{0} / 2 ? Length(2 * head.count) : std::nullopt;
    case kReference:
      return head.low <= 7 ? Length(head.low + 1) : std::nullopt;
    default:
      return std::nullopt;
  }
}

Value BinaryPropertyListTable::valueOf(const Head& head, std::string_view content) {
  switch (head.kind) {
    case 0x0:
      return head.low == 0x9;
    case 0x1:
      return integerFrom(content);
    case 0x2:
      return realFrom(content);
    case 0x3:
      return Date{std::bit_cast<double>(bigEndian(content)) + kReferenceDateOffset};
    case 0x4:
      return Data(std::string(content));
    case 0x5:
      return isValidUtf8(content) ? std::string(content) : validUtf8(content);
    case 0x6:
      return textFromUtf16(content);
    default:
      return valueOfReference(bigEndian(content));
  }
}

}  // namespace tidewell::base::detail

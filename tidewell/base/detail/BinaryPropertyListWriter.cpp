#include "tidewell/base/detail/BinaryPropertyListWriter.h"

#include <algorithm>
#include <bit>
#include <functional>

#include "tidewell/base/Unicode.h"

namespace tidewell::base::detail {

namespace {

constexpr unsigned kInteger = 0x1;
constexpr unsigned kData = 0x4;
constexpr unsigned kAsciiString = 0x5;
constexpr unsigned kUtf16String = 0x6;
constexpr unsigned kReference = 0x8;
constexpr unsigned kArray = 0xa;
constexpr unsigned kDictionary = 0xd;

void appendBigEndian(std::string& out, std::uint64_t number, unsigned size) {
  char bytes[8];
  for (unsigned i = 0; i < size; ++i) bytes[i] = static_cast<char>(number >> (8 * (size - 1 - i)));
  out.append(bytes, size);
}

/// The width of a number: 1, 2, 4 or 8 bytes.
unsigned widthOf(std::uint64_t number) {
  if (number <= 0xff) return 1;
  if (number <= 0xffff) return 2;
  return number <= 0xffffffff ? 4 : 8;
}

char marker(unsigned kind, unsigned low) { return static_cast<char>(kind << 4u | low); }

void appendCountedHead(std::string& out, unsigned kind, std::uint64_t count) {
  if (count < 0xf) {
    out += marker(kind, static_cast<unsigned>(count));
    return;
  }
  const unsigned width = widthOf(count);
  out += marker(kind, 0xf);
  out += marker(kInteger, static_cast<unsigned>(std::countr_zero(width)));
  appendBigEndian(out, count, width);
}

}  // namespace

std::string_view BinaryPropertyListWriter::encodedBytesOf(Index index) const {
  return std::string_view(encoded_).substr(static_cast<std::size_t>(objects_[index].begin),
                                           static_cast<std::size_t>(objects_[index].length));
}

void BinaryPropertyListWriter::growTable() {
  std::vector<Index> old = std::move(table_);
  table_.assign(std::max<std::size_t>(64, old.size() * 2), 0);
  const std::size_t mask = table_.size() - 1;
  for (const Index stored : old) {
    if (stored == 0) continue;
    std::size_t slot = std::hash<std::string_view>()(encodedBytesOf(stored - 1)) & mask;
    while (table_[slot] != 0) slot = (slot + 1) & mask;
    table_[slot] = stored;
  }
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addEncodedFrom(std::size_t begin) {
  if ((encodedCount_ + 1) * 2 > table_.size()) growTable();
  const std::string_view bytes = std::string_view(encoded_).substr(begin);
  const std::size_t mask = table_.size() - 1;
  std::size_t slot = std::hash<std::string_view>()(bytes) & mask;
  for (; table_[slot] != 0; slot = (slot + 1) & mask) {
    const Index known = table_[slot] - 1;
    if (encodedBytesOf(known) != bytes) continue;
    encoded_.resize(begin);
    return known;
  }
  objects_.push_back({begin, bytes.size(), Kind::encoded});
  table_[slot] = static_cast<Index>(objects_.size());
  ++encodedCount_;
  return table_[slot] - 1;
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addBoolean(bool value) {
  const std::size_t begin = encoded_.size();
  encoded_ += value ? '\x09' : '\x08';
  return addEncodedFrom(begin);
}

void BinaryPropertyListWriter::appendInteger(std::uint64_t value) {
  const unsigned width = widthOf(value);
  encoded_ += marker(kInteger, static_cast<unsigned>(std::countr_zero(width)));
  appendBigEndian(encoded_, value, width);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addInteger(std::int64_t value) {
  const std::size_t begin = encoded_.size();
  appendInteger(static_cast<std::uint64_t>(value));  // eight bytes where it is negative, which have a sign
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addUnsigned(std::uint64_t value) {
  if (value <= INT64_MAX) return addInteger(static_cast<std::int64_t>(value));
  const std::size_t begin = encoded_.size();
  encoded_ += marker(kInteger, 4);  // sixteen bytes: eight would have a sign
  appendBigEndian(encoded_, 0, 8);
  appendBigEndian(encoded_, value, 8);
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addReal(double value) {
  const std::size_t begin = encoded_.size();
  encoded_ += '\x23';
  appendBigEndian(encoded_, std::bit_cast<std::uint64_t>(value), 8);
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addDate(Date value) {
  const std::size_t begin = encoded_.size();
  encoded_ += '\x33';
  appendBigEndian(encoded_, std::bit_cast<std::uint64_t>(value.secondsSince1970 - kReferenceDateOffset), 8);
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addString(std::string_view text) {
  const std::size_t begin = encoded_.size();
  if (std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; })) {
    appendCountedHead(encoded_, kAsciiString, text.size());
    encoded_ += text;
  } else {
    const std::u16string units = utf16FromUtf8(text);
    appendCountedHead(encoded_, kUtf16String, units.size());
    for (const char16_t unit : units) appendBigEndian(encoded_, unit, 2);
  }
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addData(std::string_view bytes) {
  const std::size_t begin = encoded_.size();
  appendCountedHead(encoded_, kData, bytes.size());
  encoded_ += bytes;
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addReference(std::uint64_t index) {
  const std::size_t begin = encoded_.size();
  const unsigned width = widthOf(index);
  encoded_ += marker(kReference, width - 1);
  appendBigEndian(encoded_, index, width);
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addContainer() {
  objects_.push_back({entries_.size(), 0, Kind::array});
  return static_cast<Index>(objects_.size() - 1);
}

void BinaryPropertyListWriter::setArray(Index container, const std::vector<Index>& entries) {
  objects_[container] = {entries_.size(), entries.size(), Kind::array};
  entries_.insert(entries_.end(), entries.begin(), entries.end());
}

void BinaryPropertyListWriter::setDictionary(Index container, const std::vector<Index>& keys,
                                             const std::vector<Index>& values) {
  objects_[container] = {entries_.size(), keys.size(), Kind::dictionary};
  entries_.insert(entries_.end(), keys.begin(), keys.end());
  entries_.insert(entries_.end(), values.begin(), values.end());
}

std::string BinaryPropertyListWriter::finish() const {
  constexpr std::size_t kLargestHead = 10;
  const unsigned referenceSize = widthOf(objects_.size());
  std::string out;
  out.reserve(encoded_.size() + entries_.size() * referenceSize + objects_.size() * (8 + kLargestHead) + 64);
  out += "bplist00";
  std::vector<std::uint64_t> offsets;
  offsets.reserve(objects_.size());
  for (const Object& object : objects_) {
    offsets.push_back(out.size());
    if (object.kind == Kind::encoded) {
      out.append(encoded_, static_cast<std::size_t>(object.begin), static_cast<std::size_t>(object.length));
      continue;
    }
    const bool isDictionary = object.kind == Kind::dictionary;
    appendCountedHead(out, isDictionary ? kDictionary : kArray, object.length);
    const std::uint64_t end = object.begin + object.length * (isDictionary ? 2 : 1);
    for (std::uint64_t i = object.begin; i < end; ++i) {
      appendBigEndian(out, entries_[static_cast<std::size_t>(i)], referenceSize);
    }
  }
  const std::uint64_t table = out.size();
  const unsigned offsetSize = widthOf(table);
  for (const std::uint64_t offset : offsets) appendBigEndian(out, offset, offsetSize);
  out.append(6, '\0');
  out += static_cast<char>(offsetSize);
  out += static_cast<char>(referenceSize);
  appendBigEndian(out, objects_.size(), 8);
  appendBigEndian(out, 0, 8);
  appendBigEndian(out, table, 8);
  return out;
}

}  // namespace tidewell::base::detail

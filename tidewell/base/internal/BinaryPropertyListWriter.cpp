// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/BinaryPropertyListWriter.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "tidewell/base/internal/StringHash.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base::detail {

namespace {

constexpr unsigned kInteger = 0x1;
constexpr unsigned kData = 0x4;
constexpr unsigned kAsciiString = 0x5;
constexpr unsigned kUtf16String = 0x6;
constexpr unsigned kReference = 0x8;
constexpr unsigned kArray = 0xa;
constexpr unsigned kDictionary = 0xd;

/// The typical size of a list entry: a short text, a reference to it, and the offsets of both.
constexpr std::size_t kUsualBytes = 48;

void appendBigEndian(std::string& out, std::uint64_t number, unsigned size) {
  char bytes[8];
  for (unsigned i = 0; i < size; ++i) bytes[i] = static_cast<char>(number >> (8 * (size - 1 - i)));
  out.append(bytes, size);
}

/// The width in bytes of a number: 1, 2, 4 or 8.
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

BinaryPropertyListWriter::Index BinaryPropertyListWriter::push(const Object& object) {
  objects_.push_back(object);
  return static_cast<Index>(objects_.size() - 1);
}

void BinaryPropertyListWriter::growTable(std::size_t size) {
  const std::vector<Slot> old = std::exchange(table_, std::vector<Slot>(size));
  const std::size_t mask = size - 1;
  for (const Slot& known : old) {
    if (known.stored == 0) continue;
    std::size_t place = known.hash & mask;
    while (table_[place].stored != 0) place = (place + 1) & mask;
    table_[place] = known;
  }
}

void BinaryPropertyListWriter::expect(std::size_t count) {
  const std::size_t wanted = std::bit_ceil((tabledCount_ + count + 1) * 2);
  if (wanted > table_.size()) growTable(wanted);
  const std::size_t objects = objects_.size() + 2 * count;
  // At least doubled, so that many short lists in one take linear time in total.
  if (objects > objects_.capacity()) objects_.reserve(std::max(objects, 2 * objects_.capacity()));
  const std::size_t bytes = out_.size() + count * kUsualBytes;
  if (bytes > out_.capacity()) out_.reserve(std::max(bytes, 2 * out_.capacity()));
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addEncodedFrom(std::size_t begin) {
  if ((tabledCount_ + 1) * 2 > table_.size()) growTable(std::max<std::size_t>(64, table_.size() * 2));
  const std::string_view bytes = std::string_view(out_).substr(begin);
  const auto hash = static_cast<std::uint32_t>(stringHash(bytes));
  const std::size_t mask = table_.size() - 1;
  std::size_t place = hash & mask;
  for (; table_[place].stored != 0; place = (place + 1) & mask) {
    if (table_[place].hash != hash) continue;
    const Index known = table_[place].stored - 1;
    // Encodings are self-delimiting, so a prefix match means that the whole object is equal.
    if (out_.compare(objects_[known].begin, bytes.size(), bytes) != 0) continue;
    out_.resize(begin);
    return known;
  }
  const Index index = push({begin, Kind::encoded});
  table_[place] = {hash, index + 1};
  ++tabledCount_;
  return index;
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addBoolean(bool value) {
  const std::size_t begin = out_.size();
  out_ += value ? '\x09' : '\x08';
  return addEncodedFrom(begin);
}

void BinaryPropertyListWriter::appendInteger(std::uint64_t value) {
  const unsigned width = widthOf(value);
  out_ += marker(kInteger, static_cast<unsigned>(std::countr_zero(width)));
  appendBigEndian(out_, value, width);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addInteger(std::int64_t value) {
  const std::size_t begin = out_.size();
  appendInteger(static_cast<std::uint64_t>(value));  // negative numbers take eight bytes, which are signed
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addUnsigned(std::uint64_t value) {
  if (value <= INT64_MAX) return addInteger(static_cast<std::int64_t>(value));
  const std::size_t begin = out_.size();
  out_ += marker(kInteger, 4);  // sixteen bytes, because eight would be signed
  appendBigEndian(out_, 0, 8);
  appendBigEndian(out_, value, 8);
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addReal(double value) {
  const std::size_t begin = out_.size();
  out_ += '\x23';
  appendBigEndian(out_, std::bit_cast<std::uint64_t>(value), 8);
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addDate(Date value) {
  const std::size_t begin = out_.size();
  out_ += '\x33';
  appendBigEndian(out_, std::bit_cast<std::uint64_t>(value.secondsSince1970 - kReferenceDateOffset), 8);
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addString(std::string_view text) {
  const std::size_t begin = out_.size();
  if (std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; })) {
    appendCountedHead(out_, kAsciiString, text.size());
    out_ += text;
  } else {
    const std::u16string units = utf16FromUtf8(text);
    appendCountedHead(out_, kUtf16String, units.size());
    for (const char16_t unit : units) appendBigEndian(out_, unit, 2);
  }
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addData(std::string_view bytes) {
  const std::size_t begin = out_.size();
  appendCountedHead(out_, kData, bytes.size());
  out_ += bytes;
  return addEncodedFrom(begin);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addReference(std::uint64_t index) {
  const std::size_t begin = out_.size();
  const unsigned width = widthOf(index);
  out_ += marker(kReference, width - 1);
  appendBigEndian(out_, index, width);
  return push({begin, Kind::encoded});
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addContainer() { return push({0, Kind::array}); }

void BinaryPropertyListWriter::setArray(Index container, const std::vector<Index>& entries) {
  objects_[container] = {entries_.size(), Kind::array};
  entries_.push_back(static_cast<Index>(entries.size()));
  entries_.insert(entries_.end(), entries.begin(), entries.end());
}

void BinaryPropertyListWriter::setDictionary(Index container, const std::vector<Index>& keys,
                                             const std::vector<Index>& values) {
  objects_[container] = {entries_.size(), Kind::dictionary};
  entries_.push_back(static_cast<Index>(keys.size()));
  entries_.insert(entries_.end(), keys.begin(), keys.end());
  entries_.insert(entries_.end(), values.begin(), values.end());
}

std::string BinaryPropertyListWriter::finish() {
  const unsigned referenceSize = widthOf(objects_.size());
  for (Object& object : objects_) {
    if (object.kind == Kind::encoded) continue;
    const bool isDictionary = object.kind == Kind::dictionary;
    const std::size_t begin = out_.size();
    const Index* entry = &entries_[object.begin];
    const std::size_t count = *entry++;
    appendCountedHead(out_, isDictionary ? kDictionary : kArray, count);
    for (const Index* const end = entry + count * (isDictionary ? 2 : 1); entry != end; ++entry) {
      appendBigEndian(out_, *entry, referenceSize);
    }
    object.begin = begin;
  }
  const std::uint64_t table = out_.size();
  const unsigned offsetSize = widthOf(table);
  constexpr std::size_t kTrailerBytes = 32;
  out_.reserve(out_.size() + objects_.size() * offsetSize + kTrailerBytes);
  for (const Object& object : objects_) appendBigEndian(out_, object.begin, offsetSize);
  out_.append(6, '\0');
  out_ += static_cast<char>(offsetSize);
  out_ += static_cast<char>(referenceSize);
  appendBigEndian(out_, objects_.size(), 8);
  appendBigEndian(out_, 0, 8);
  appendBigEndian(out_, table, 8);
  return std::move(out_);
}

}  // namespace tidewell::base::detail

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/PropertyList.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/BinaryPropertyListReader.h"
#include "tidewell/base/internal/BinaryPropertyListWriter.h"
#include "tidewell/base/internal/PropertyListReader.h"
#include "tidewell/base/internal/XmlPropertyList.h"

namespace tidewell::base {

namespace detail {

Value readPropertyList(std::string_view bytes, ArchiveReferences references, std::uint64_t maximumObjects) {
  if (bytes.size() > kMaximumPropertyListBytes) return {};
  return isBinaryPropertyList(bytes) ? readBinaryPropertyList(bytes, references, maximumObjects)
                                     : readXmlPropertyList(bytes, references, maximumObjects);
}

}  // namespace detail

namespace {

[[noreturn]] void raiseNotAPropertyList(const Value& value) {
  raise(kInvalidArgumentException, "Property lists cannot carry objects of type '" + value.className() + "'");
}

void checkDepth(int depth) {
  if (depth > kMaximumPropertyListDepth) {
    raise(kInvalidArgumentException, "The property list is nested too deeply");
  }
}

/// Raises for values that a property list cannot hold, at any depth.
void check(const Value& value, int depth) {
  checkDepth(depth);
  if (const Array* const array = value.array()) {
    for (const Value& entry : *array) check(entry, depth + 1);
  } else if (const Dictionary* const dictionary = value.dictionary()) {
    for (const auto& entry : *dictionary) check(entry.value, depth + 1);
  } else if (!value.isNumber() && !value.isString() && !value.data() && !value.date()) {
    raiseNotAPropertyList(value);
  }
}

/// The number in a dictionary that stands for a reference; no value for any other dictionary. Raises for a
/// number that no archive can have.
std::optional<std::uint32_t> numberOfReference(const Dictionary& dictionary) {
  const Value* const number = dictionary.count() == 1 ? dictionary.find(kArchiveReferenceKey) : nullptr;
  if (!number) return {};
  const std::int64_t index = number->kind() == ValueKind::integer ? number->integerValue() : -1;
  if (index < 0 || index > std::numeric_limits<std::uint32_t>::max()) {
    raise(kInvalidArgumentException, "A reference of an archive is a number from 0 to 4294967295");
  }
  return static_cast<std::uint32_t>(index);
}

using detail::ArchiveReferences;
using Index = detail::BinaryPropertyListWriter::Index;

/// Adds values to a binary property list; with references allowed, dictionaries that stand for one become
/// one.
class BinaryPropertyList {
 public:
  explicit BinaryPropertyList(ArchiveReferences references) : references_(references) {}

  [[nodiscard]] std::string write(const Value& value) {
    add(value, 1);
    return writer_.finish();
  }

 private:
  Index add(const Value& value, int depth);
  Index addArray(const Array& array, int depth);
  Index addDictionary(const Dictionary& dictionary, int depth);

  const ArchiveReferences references_;
  detail::BinaryPropertyListWriter writer_;
};

Index BinaryPropertyList::addArray(const Array& array, int depth) {
  checkDepth(depth);
  const Index container = writer_.addContainer();
  std::vector<Index> entries;
  entries.reserve(array.count());
  for (const Value& entry : array) entries.push_back(add(entry, depth + 1));
  writer_.setArray(container, entries);
  return container;
}

Index BinaryPropertyList::addDictionary(const Dictionary& dictionary, int depth) {
  checkDepth(depth);
  if (references_ == ArchiveReferences::allowed) {
    if (const auto number = numberOfReference(dictionary)) return writer_.addReference(*number);
  }
  const Index container = writer_.addContainer();
  std::vector<Index> keys;
  std::vector<Index> values;
  keys.reserve(dictionary.count());
  values.reserve(dictionary.count());
  for (const auto& [key, entry] : dictionary) {
    keys.push_back(writer_.addString(key));
    values.push_back(add(entry, depth + 1));
  }
  writer_.setDictionary(container, keys, values);
  return container;
}

Index BinaryPropertyList::add(const Value& value, int depth) {
  switch (value.kind()) {
    case ValueKind::boolean:
      return writer_.addBoolean(value.boolValue());
    case ValueKind::integer:
      return writer_.addInteger(value.integerValue());
    case ValueKind::unsignedInteger:
      return writer_.addUnsigned(static_cast<std::uint64_t>(value.integerValue()));
    case ValueKind::real:
      return writer_.addReal(value.doubleValue());
    case ValueKind::string:
      return writer_.addString(*value.string());
    case ValueKind::data:
      return writer_.addData(value.data()->view());
    case ValueKind::date:
      return writer_.addDate(*value.date());
    case ValueKind::array:
      return addArray(*value.array(), depth);
    case ValueKind::dictionary:
      return addDictionary(*value.dictionary(), depth);
    default:
      raiseNotAPropertyList(value);
  }
}

/// Copies the contents of an archive with references as dictionaries. Objects that the contents share are
/// copied for each use, so the number of values is bounded.
class ReadableReferences {
 public:
  /// nil beyond the bound.
  [[nodiscard]] static Value in(const Value& contents) {
    ReadableReferences copy;
    Value result = copy.of(contents);
    return copy.left_ == 0 ? Value() : result;
  }

 private:
  Value of(const Value& value) {
    if (left_ == 0) return Value::null();
    --left_;
    if (const BoxedPointer* const reference = detail::referenceIn(value)) {
      return Dictionary{{kArchiveReferenceKey, static_cast<std::int64_t>(detail::indexOf(*reference))}};
    }
    if (const Array* const array = value.array()) {
      std::vector<Value> entries;
      for (const Value& entry : *array) entries.push_back(of(entry));
      return Array(std::move(entries));
    }
    if (const Dictionary* const dictionary = value.dictionary()) {
      Dictionary result;
      for (const auto& [key, entry] : *dictionary) result.setObject(of(entry), key);
      return result;
    }
    return value;
  }

  std::size_t left_ = kMaximumArchiveContents;
};

}  // namespace

Value propertyListWithData(std::string_view bytes) {
  return detail::readPropertyList(bytes, ArchiveReferences::malformed);
}

std::string dataWithPropertyList(const Value& value, PropertyListFormat format) {
  if (format == PropertyListFormat::xml) {
    check(value, 1);
    return detail::writeXmlPropertyList(value);
  }
  return BinaryPropertyList(ArchiveReferences::malformed).write(value);
}

Value archiveContentsWithData(std::string_view bytes) {
  return ReadableReferences::in(
      detail::readPropertyList(bytes, ArchiveReferences::allowed, kMaximumArchiveContents));
}

std::string dataWithArchiveContents(const Value& contents, PropertyListFormat format) {
  if (format == PropertyListFormat::xml) return dataWithPropertyList(contents, format);
  return BinaryPropertyList(ArchiveReferences::allowed).write(contents);
}

}  // namespace tidewell::base

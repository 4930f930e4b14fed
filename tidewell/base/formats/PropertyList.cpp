// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/PropertyList.h"

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

using Index = detail::BinaryPropertyListWriter::Index;

Index add(detail::BinaryPropertyListWriter& writer, const Value& value, int depth);

Index addArray(detail::BinaryPropertyListWriter& writer, const Array& array, int depth) {
  checkDepth(depth);
  const Index container = writer.addContainer();
  std::vector<Index> entries;
  entries.reserve(array.count());
  for (const Value& entry : array) entries.push_back(add(writer, entry, depth + 1));
  writer.setArray(container, entries);
  return container;
}

Index addDictionary(detail::BinaryPropertyListWriter& writer, const Dictionary& dictionary, int depth) {
  checkDepth(depth);
  const Index container = writer.addContainer();
  std::vector<Index> keys;
  std::vector<Index> values;
  keys.reserve(dictionary.count());
  values.reserve(dictionary.count());
  for (const auto& [key, entry] : dictionary) {
    keys.push_back(writer.addString(key));
    values.push_back(add(writer, entry, depth + 1));
  }
  writer.setDictionary(container, keys, values);
  return container;
}

Index add(detail::BinaryPropertyListWriter& writer, const Value& value, int depth) {
  switch (value.kind()) {
    case ValueKind::boolean:
      return writer.addBoolean(value.boolValue());
    case ValueKind::integer:
      return writer.addInteger(value.integerValue());
    case ValueKind::unsignedInteger:
      return writer.addUnsigned(static_cast<std::uint64_t>(value.integerValue()));
    case ValueKind::real:
      return writer.addReal(value.doubleValue());
    case ValueKind::string:
      return writer.addString(*value.string());
    case ValueKind::data:
      return writer.addData(value.data()->view());
    case ValueKind::date:
      return writer.addDate(*value.date());
    case ValueKind::array:
      return addArray(writer, *value.array(), depth);
    case ValueKind::dictionary:
      return addDictionary(writer, *value.dictionary(), depth);
    default:
      raiseNotAPropertyList(value);
  }
}

}  // namespace

Value propertyListWithData(std::string_view bytes) {
  return detail::readPropertyList(bytes, detail::ArchiveReferences::malformed);
}

std::string dataWithPropertyList(const Value& value, PropertyListFormat format) {
  if (format == PropertyListFormat::xml) {
    check(value, 1);
    return detail::writeXmlPropertyList(value);
  }
  detail::BinaryPropertyListWriter writer;
  add(writer, value, 1);
  return writer.finish();
}

}  // namespace tidewell::base

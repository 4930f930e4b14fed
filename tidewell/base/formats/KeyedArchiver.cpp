// SPDX-License-Identifier: Apache-2.0
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/internal/ArchiveLayout.h"
#include "tidewell/base/internal/BinaryPropertyListWriter.h"

namespace tidewell::base {

KeyedEncoder::~KeyedEncoder() = default;

namespace {

namespace layout = detail::archive;
using Index = detail::BinaryPropertyListWriter::Index;

/// Builds an archive: a list of objects that refer to each other by index.
///
/// Objects are added in separate statements: the order in which a call evaluates its arguments, and with it
/// the bytes of an archive, would depend on the compiler.
///
/// A "reference" below is the index, in the property list, of an object that holds such an index.
class ArchiveWriter {
 public:
  ArchiveWriter() : top_(list_.addContainer()) {
    references_.push_back(list_.addReference(0));
    objects_.push_back(list_.addString(layout::kNullObject));
  }

  /// Adds an object whose content follows later, and returns its reference.
  Index addObject(Index content) {
    references_.push_back(list_.addReference(objects_.size()));
    objects_.push_back(content);
    return references_.back();
  }
  Index addContainer() { return list_.addContainer(); }
  Index addString(std::string_view text) { return list_.addString(text); }
  Index addInteger(std::int64_t value) { return list_.addInteger(value); }
  Index addBoolean(bool value) { return list_.addBoolean(value); }

  /// Adds a value with everything that it contains, and returns its reference.
  Index addValue(const Value& value, int depth = 1) {
    switch (value.kind()) {
      case ValueKind::none:
        return references_.front();
      case ValueKind::null:
        return addNull();
      case ValueKind::boolean:
        return addShared(list_.addBoolean(value.boolValue()));
      case ValueKind::integer:
        return addShared(list_.addInteger(value.integerValue()));
      case ValueKind::unsignedInteger:
        return addShared(list_.addUnsigned(static_cast<std::uint64_t>(value.integerValue())));
      case ValueKind::real:
        return addShared(list_.addReal(value.doubleValue()));
      case ValueKind::string:
        return addShared(list_.addString(*value.string()));
      case ValueKind::data:
        return addShared(list_.addData(value.data()->view()));
      case ValueKind::date:
        return addDate(*value.date());
      case ValueKind::array:
        return addArray(*value.array(), depth);
      case ValueKind::dictionary:
        return addDictionary(*value.dictionary(), depth);
      default:
        raise(kInvalidArgumentException, "Archives cannot carry objects of class " + value.className());
    }
  }

  /// The reference of a class description: the names of the class and its superclasses.
  Index addClass(std::string_view name) {
    for (const auto& [known, reference] : classes_) {
      if (known == name) return reference;
    }
    const Index names = list_.addContainer();
    const Index description = list_.addContainer();
    const Index nameText = list_.addString(name);
    const Index rootText = list_.addString("NSObject");
    const Index nameKey = list_.addString(layout::kClassName);
    const Index namesKey = list_.addString(layout::kClasses);
    list_.setArray(names, {nameText, rootText});
    list_.setDictionary(description, {nameKey, namesKey}, {nameText, names});
    classes_.emplace_back(name, addObject(description));
    return classes_.back().second;
  }

  void setRecord(Index container, std::vector<Index> keys, std::vector<Index> values,
                 std::string_view className) {
    keys.push_back(list_.addString(layout::kClass));
    values.push_back(addClass(className));
    list_.setDictionary(container, keys, values);
  }

  std::string finish(Index rootReference) {
    const Index objects = list_.addContainer();
    list_.setArray(objects, objects_);
    const Index roots = list_.addContainer();
    list_.setDictionary(roots, {list_.addString(layout::kRoot)}, {rootReference});
    const std::vector<Index> keys{list_.addString(layout::kVersion), list_.addString(layout::kObjects),
                                  list_.addString(layout::kArchiver), list_.addString(layout::kTop)};
    const Index version = list_.addInteger(layout::kVersionNumber);
    const Index archiver = list_.addString(layout::kArchiverName);
    list_.setDictionary(top_, keys, {version, objects, archiver, roots});
    return list_.finish();
  }

 private:
  /// The reference of an object that is stored as is; equal ones share one object.
  Index addShared(Index content) {
    if (content >= sharedReferences_.size()) sharedReferences_.resize(list_.count() + 1);
    Index& stored = sharedReferences_[content];
    if (stored == 0) stored = addObject(content) + 1;
    return stored - 1;
  }

  Index addNull() {
    if (nullReference_ == 0) {
      const Index container = list_.addContainer();
      nullReference_ = addObject(container);
      setRecord(container, {}, {}, "NSNull");
    }
    return nullReference_;
  }

  Index addDate(Date date) {
    const Index container = list_.addContainer();
    const Index reference = addObject(container);
    const Index key = list_.addString(layout::kTime);
    const Index time = list_.addReal(date.secondsSince1970 - kReferenceDateOffset);
    setRecord(container, {key}, {time}, "NSDate");
    return reference;
  }

  static void checkDepth(int depth) {
    if (depth > kMaximumArchiveDepth) raise(kInvalidArgumentException, "The archive is nested too deeply");
  }

  Index addArray(const Array& array, int depth) {
    checkDepth(depth);
    const Index container = list_.addContainer();
    const Index reference = addObject(container);
    std::vector<Index> entries;
    entries.reserve(array.count());
    list_.expect(array.count());
    for (const Value& entry : array) entries.push_back(addValue(entry, depth + 1));
    const Index key = list_.addString(layout::kEntries);
    setRecord(container, {key}, {addList(entries)}, "NSArray");
    return reference;
  }

  Index addDictionary(const Dictionary& dictionary, int depth) {
    checkDepth(depth);
    const Index container = list_.addContainer();
    const Index reference = addObject(container);
    std::vector<Index> keys;
    std::vector<Index> values;
    keys.reserve(dictionary.count());
    values.reserve(dictionary.count());
    for (const auto& [key, entry] : dictionary) {
      keys.push_back(addShared(list_.addString(key)));
      values.push_back(addValue(entry, depth + 1));
    }
    const std::vector<Index> recordKeys{list_.addString(layout::kKeys), list_.addString(layout::kEntries)};
    const Index keyList = addList(keys);
    setRecord(container, recordKeys, {keyList, addList(values)}, "NSDictionary");
    return reference;
  }

  Index addList(const std::vector<Index>& references) {
    const Index list = list_.addContainer();
    list_.setArray(list, references);
    return list;
  }

  detail::BinaryPropertyListWriter list_;
  Index top_;  ///< added first: the first object is the root of the list
  std::vector<Index> objects_;
  std::vector<Index> references_;        ///< to the objects, in the same order
  std::vector<Index> sharedReferences_;  ///< by index of the content; stores the reference plus one
  std::vector<std::pair<std::string, Index>> classes_;
  Index nullReference_ = 0;
};

class RecordEncoder final : public KeyedEncoder {
 public:
  explicit RecordEncoder(ArchiveWriter& archive) : archive_(archive) {}

  void encodeObject(const Value& object, std::string_view forKey) override {
    set(forKey, archive_.addValue(object));
  }
  void encodeInt64(std::int64_t value, std::string_view forKey) override {
    set(forKey, archive_.addInteger(value));
  }
  void encodeBool(bool value, std::string_view forKey) override { set(forKey, archive_.addBoolean(value)); }

  std::vector<Index> keys;
  std::vector<Index> values;

 private:
  void set(std::string_view key, Index value) {
    keys.push_back(archive_.addString(layout::escapedKey(key)));
    values.push_back(value);
  }

  ArchiveWriter& archive_;
};

}  // namespace

std::string archivedDataWithRecord(std::string_view className,
                                   const std::function<void(KeyedEncoder&)>& encode) {
  ArchiveWriter archive;
  const Index record = archive.addContainer();
  const Index reference = archive.addObject(record);
  RecordEncoder encoder(archive);
  encode(encoder);
  archive.setRecord(record, std::move(encoder.keys), std::move(encoder.values), className);
  return archive.finish(reference);
}

std::string archivedDataWithRootObject(const Value& object) {
  ArchiveWriter archive;
  const Index reference = archive.addValue(object);
  return archive.finish(reference);
}

}  // namespace tidewell::base

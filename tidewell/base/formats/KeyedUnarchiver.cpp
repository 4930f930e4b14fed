// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/internal/ArchiveLayout.h"
#include "tidewell/base/internal/BinaryPropertyListTable.h"
#include "tidewell/base/internal/PropertyListReader.h"

namespace tidewell::base {

KeyedDecoder::~KeyedDecoder() = default;

namespace {

namespace layout = detail::archive;

[[noreturn]] void refuse(std::string_view reason) { raise(kInvalidUnarchiveOperationException, reason); }

/// The classes whose objects are decoded to values.
enum class KnownClass { none, null, string, data, date, array, dictionary };

KnownClass knownClassOf(std::string_view name) {
  constexpr std::pair<std::string_view, KnownClass> kClasses[] = {
      {"NSArray", KnownClass::array}, {"NSDictionary", KnownClass::dictionary}, {"NSDate", KnownClass::date},
      {"NSNull", KnownClass::null},   {"NSString", KnownClass::string},         {"NSData", KnownClass::data},
  };
  for (const auto& [known, kind] : kClasses) {
    if (name == known) return kind;
  }
  return KnownClass::none;
}

/// An archive opened for reading.
class ArchiveReader {
 public:
  ArchiveReader(std::string_view bytes, const ArchiveBounds& bounds) {
    if (bytes.size() > bounds.bytes) refuse("The archive is too large");
    list_ = detail::readPropertyList(bytes, detail::ArchiveReferences::allowed, bounds.objects);
    const Dictionary* const list = list_.dictionary();
    if (!list) refuse("The data is not a property list of an archive");
    const Value* const archiver = list->find(layout::kArchiver);
    const Value* const version = list->find(layout::kVersion);
    if (!archiver || !archiver->isString() || *archiver->string() != layout::kArchiverName) {
      refuse("The data is not a keyed archive");
    }
    if (!version || !version->isNumber() || version->integerValue() != layout::kVersionNumber) {
      refuse("The archive is of an unknown version");
    }
    const Value* const objects = list->find(layout::kObjects);
    if (!objects || !objects->array()) refuse("The archive has no objects");
    objects_ = objects->array();
    decoded_.resize(objects_->count());
    const Value* const top = list->find(layout::kTop);
    const Value* const root = top && top->dictionary() ? top->dictionary()->find(layout::kRoot) : nullptr;
    const BoxedPointer* const reference = root ? detail::referenceIn(*root) : nullptr;
    if (!reference) refuse("The archive has no root");
    root_ = *reference;
  }

  [[nodiscard]] BoxedPointer root() const { return root_; }

  /// The entry that a reference points to; null if there is none.
  [[nodiscard]] const Value* find(BoxedPointer reference) const {
    const std::size_t index = detail::indexOf(reference);
    return index < objects_->count() ? objects_->begin() + index : nullptr;
  }
  /// The same, but raises if there is none.
  [[nodiscard]] const Value& entryOf(BoxedPointer reference) const {
    const Value* const entry = find(reference);
    if (!entry) refuse("A reference leads out of the archive");
    return *entry;
  }

  [[nodiscard]] bool isNil(BoxedPointer reference) const {
    if (detail::indexOf(reference) != 0) return false;
    const Value& first = entryOf(reference);
    return first.isString() && *first.string() == layout::kNullObject;
  }

  /// The names of an object's class and superclasses, most derived first.
  [[nodiscard]] const Array& classesOf(const Dictionary& object) const {
    const Value* const reference = object.find(layout::kClass);
    if (!reference || !detail::referenceIn(*reference)) refuse("An object has no class");
    const Dictionary* const description = entryOf(*detail::referenceIn(*reference)).dictionary();
    const Value* const classes = description ? description->find(layout::kClasses) : nullptr;
    if (!classes || !classes->array()) refuse("A class has no description");
    return *classes->array();
  }

  /// The value that a reference points to (nil for "$null"), and its size as a tree.
  struct Sized {
    const Value& value;
    std::uint64_t treeSize;
    int height;  ///< levels of nested containers, including this one
  };
  Sized decode(BoxedPointer reference, int depth) {
    static const Value nil;
    if (isNil(reference)) return {nil, 0, 0};
    const Value& entry = entryOf(reference);
    if (const Dictionary* const object = entry.dictionary()) {
      return decodeObject(detail::indexOf(reference), *object, depth);
    }
    if (entry.isString()) return {entry, detail::kTreeSizeOfValue + entry.string()->size(), 0};
    if (entry.data()) return {entry, detail::kTreeSizeOfValue + entry.data()->length(), 0};
    if (!entry.isNumber() && !entry.date()) refuse("An entry of the archive is not an object");
    return {entry, detail::kTreeSizeOfValue, 0};
  }

 private:
  enum class State : std::uint8_t { encoded, decoding, decoded };
  struct Object {
    Value value;
    std::uint64_t treeSize = 0;
    std::uint16_t height = 0;
    State state = State::encoded;
  };

  Sized decodeObject(std::size_t index, const Dictionary& encoded, int depth) {
    Object& object = decoded_[index];
    if (object.state == State::decoding) refuse("The archive holds a cycle");
    if (depth + object.height > kMaximumArchiveDepth) refuse("The archive is nested too deeply");
    if (object.state == State::encoded) {
      object.state = State::decoding;
      object.treeSize = detail::kTreeSizeOfValue;
      decodeContent(encoded, object, depth);
      object.state = State::decoded;
    }
    return {object.value, object.treeSize, object.height};
  }

  void decodeContent(const Dictionary& encoded, Object& object, int depth) {
    switch (kindOf(encoded)) {
      case KnownClass::null:
        object.value = Value::null();
        return;
      case KnownClass::string:
        return decodeText(encoded, object, depth);
      case KnownClass::data:
        return decodeData(encoded, object, depth);
      case KnownClass::date:
        return decodeDate(encoded, object);
      case KnownClass::array:
        return decodeArray(encoded, object, depth);
      case KnownClass::dictionary:
        return decodeDictionary(encoded, object, depth);
      case KnownClass::none:
        refuse("An object is of a class that is not known");
    }
  }

  KnownClass kindOf(const Dictionary& encoded) const {
    for (const Value& name : classesOf(encoded)) {
      const KnownClass known = name.isString() ? knownClassOf(*name.string()) : KnownClass::none;
      if (known != KnownClass::none) return known;
    }
    return KnownClass::none;
  }

  /// The value of a key, stored directly or by reference; nil if the key is missing.
  Value contentOf(const Dictionary& encoded, std::string_view key, Object& object, int depth) {
    const Value* const content = encoded.find(key);
    if (!content) return {};
    const BoxedPointer* const reference = detail::referenceIn(*content);
    if (!reference) {
      const std::size_t size = content->isString() ? content->string()->size()
                               : content->data()   ? content->data()->length()
                                                   : 0;
      object.treeSize += size;
      return *content;
    }
    const Sized sized = decode(*reference, depth + 1);
    object.treeSize += sized.treeSize;
    return sized.value;
  }

  void decodeText(const Dictionary& encoded, Object& object, int depth) {
    object.value = contentOf(encoded, layout::kText, object, depth);
    if (!object.value.isString()) refuse("A string has no text");
  }

  void decodeData(const Dictionary& encoded, Object& object, int depth) {
    object.value = contentOf(encoded, layout::kBytes, object, depth);
    if (!object.value.data()) refuse("Data has no bytes");
  }

  static void decodeDate(const Dictionary& encoded, Object& object) {
    const Value* const time = encoded.find(layout::kTime);
    if (!time || !time->isNumber()) refuse("A date has no time");
    object.value = Date{time->doubleValue() + kReferenceDateOffset};
  }

  static const Array& listIn(const Dictionary& encoded, std::string_view key) {
    const Value* const list = encoded.find(key);
    if (!list || !list->array()) refuse("A collection has no entries");
    return *list->array();
  }

  const Value& decodeEntry(const Value& reference, Object& container, int depth) {
    const BoxedPointer* const boxed = detail::referenceIn(reference);
    if (!boxed) refuse("An entry of a collection is not a reference");
    const Sized entry = decode(*boxed, depth + 1);
    if (entry.value.isNil()) refuse("An entry of a collection is nil");
    container.treeSize += entry.treeSize;
    container.height = std::max(container.height, static_cast<std::uint16_t>(entry.height + 1));
    if (container.treeSize > detail::kMaximumTreeSize) refuse("The archive is too large");
    return entry.value;
  }

  void decodeArray(const Dictionary& encoded, Object& object, int depth) {
    const Array& references = listIn(encoded, layout::kEntries);
    std::vector<Value> values;
    values.reserve(references.count());
    for (const Value& reference : references) values.push_back(decodeEntry(reference, object, depth));
    object.value = Array(std::move(values));
  }

  void decodeDictionary(const Dictionary& encoded, Object& object, int depth) {
    const Array& keys = listIn(encoded, layout::kKeys);
    const Array& references = listIn(encoded, layout::kEntries);
    if (keys.count() != references.count()) refuse("A dictionary has not as many keys as objects");
    Dictionary dictionary;
    dictionary.reserve(keys.count());
    for (std::size_t i = 0; i < keys.count(); ++i) {
      const Value& key = decodeEntry(keys.begin()[i], object, depth);
      if (!key.isString()) refuse("A key of a dictionary is not a string");
      dictionary.setObject(decodeEntry(references.begin()[i], object, depth), *key.string());
    }
    object.value = std::move(dictionary);
  }

  Value list_;
  const Array* objects_ = nullptr;  ///< points into `list_`
  BoxedPointer root_;
  std::vector<Object> decoded_;  ///< by index in `objects_`; strings and numbers are used from there
};

class RecordDecoder final : public KeyedDecoder {
 public:
  RecordDecoder(ArchiveReader& archive, const Dictionary& record) : archive_(archive), record_(record) {}

  Value decodeObjectForKey(std::string_view key) override {
    const Value* const field = find(key);
    if (!field) return {};
    const BoxedPointer* const reference = detail::referenceIn(*field);
    if (!reference && (field->array() || field->dictionary())) refuse("A key does not hold an object");
    if (!reference) return *field;
    const ArchiveReader::Sized object = archive_.decode(*reference, 1);
    treeSize_ += object.treeSize;
    if (treeSize_ > detail::kMaximumTreeSize) refuse("The archive is too large");
    return object.value;
  }
  std::int64_t decodeInt64ForKey(std::string_view key) override {
    const Value* const number = findNumber(key);
    return number ? number->integerValue() : 0;
  }
  bool decodeBoolForKey(std::string_view key) override {
    const Value* const number = findNumber(key);
    return number && number->boolValue();
  }

 private:
  const Value* find(std::string_view key) const { return record_.find(layout::escapedKey(key)); }
  /// Null if the key does not hold a number. (It may hold a reference to a number.)
  const Value* findNumber(std::string_view key) const {
    const Value* field = find(key);
    const BoxedPointer* const reference = field ? detail::referenceIn(*field) : nullptr;
    if (reference) field = archive_.find(*reference);
    return field && field->isNumber() ? field : nullptr;
  }

  ArchiveReader& archive_;
  const Dictionary& record_;
  std::uint64_t treeSize_ = 0;
};

/// Follows individual references through a binary archive that may be corrupt anywhere.
class SparseArchive {
 public:
  using Table = detail::BinaryPropertyListTable;
  using Index = std::optional<std::uint64_t>;

  explicit SparseArchive(const Table& table) : table_(table) {}

  /// The dictionary of the root record.
  [[nodiscard]] Index record() const {
    const Index top = find(table_.root(), layout::kTop);
    const Index root = top ? find(*top, layout::kRoot) : std::nullopt;
    return root ? follow(*root) : std::nullopt;
  }
  [[nodiscard]] bool isOfClass(std::uint64_t object, std::string_view className) const {
    const Index reference = find(object, layout::kClass);
    const Index description = reference ? follow(*reference) : std::nullopt;
    const Index classes = description ? find(*description, layout::kClasses) : std::nullopt;
    const auto names = classes ? entriesOf(*classes, Table::kArray) : std::vector<std::uint64_t>();
    return std::any_of(names.begin(), names.end(), [&](std::uint64_t name) {
      const Value text = scalar(name);
      return text.isString() && *text.string() == className;
    });
  }
  /// The readable numbers, booleans and texts of a dictionary, stored directly or by reference.
  [[nodiscard]] Dictionary scalarsOf(std::uint64_t dictionary) const {
    const auto entries = entriesOf(dictionary, Table::kDictionary);
    const std::size_t count = entries.size() / 2;
    Dictionary scalars;
    for (std::size_t i = 0; i < count; ++i) {
      const Value key = scalar(entries[i]);
      Value value = scalar(entries[count + i]);
      if (const BoxedPointer* const reference = value.pointer()) {
        const bool isNull = detail::indexOf(*reference) == 0;  // "$null" is always the first object
        const Index target = isNull ? std::nullopt : follow(entries[count + i]);
        value = target ? scalar(*target) : Value();
      }
      if (key.isString() && (value.isNumber() || value.isString())) {
        scalars.addObject(unescapedKey(*key.string()), value);
      }
    }
    return scalars;
  }

 private:
  /// More than any record has.
  static constexpr std::uint64_t kMaximumEntries = 1024;
  static constexpr std::uint64_t kMaximumTextBytes = 4096;

  static std::string unescapedKey(std::string key) {
    if (key.starts_with("$$")) key.erase(0, 1);
    return key;
  }

  /// The object indices of a container's entries; in a dictionary, the keys come first. Empty if it is
  /// malformed or has more than `kMaximumEntries`.
  [[nodiscard]] std::vector<std::uint64_t> entriesOf(std::uint64_t container, unsigned kind) const {
    const auto head = table_.headOf(container);
    if (!head || head->kind != kind || head->count > kMaximumEntries) return {};
    const std::uint64_t count = kind == Table::kDictionary ? 2 * head->count : head->count;
    const auto content = table_.contentOf(*head, count, table_.referenceSize());
    std::vector<std::uint64_t> entries;
    for (std::size_t i = 0; content && i < count; ++i) entries.push_back(table_.referenceAt(*content, i));
    return entries;
  }
  [[nodiscard]] Index find(std::uint64_t dictionary, std::string_view key) const {
    const auto entries = entriesOf(dictionary, Table::kDictionary);
    const std::size_t count = entries.size() / 2;
    for (std::size_t i = 0; i < count; ++i) {
      const Value text = scalar(entries[i]);
      if (text.isString() && *text.string() == key) return entries[count + i];
    }
    return std::nullopt;
  }
  /// The object that an archive reference points to.
  [[nodiscard]] Index follow(std::uint64_t reference) const {
    const Value boxed = scalar(reference);
    const Index objects = boxed.pointer() ? find(table_.root(), layout::kObjects) : std::nullopt;
    const auto head = objects ? table_.headOf(*objects) : std::nullopt;
    if (!head || head->kind != Table::kArray) return std::nullopt;
    const auto content = table_.contentOf(*head, head->count, table_.referenceSize());
    const std::size_t index = detail::indexOf(*boxed.pointer());
    if (!content || index >= head->count) return std::nullopt;
    return table_.referenceAt(*content, index);
  }
  /// nil for a container, a malformed object, and a long text.
  [[nodiscard]] Value scalar(std::uint64_t object) const {
    const auto head = table_.headOf(object);
    const auto length = head ? Table::lengthOf(*head) : std::nullopt;
    if (!length || *length > kMaximumTextBytes) return {};
    const auto content = table_.contentOf(*head, *length, 1);
    return content ? Table::valueOf(*head, *content) : Value();
  }

  const Table& table_;
};

}  // namespace

bool unarchiveRecord(std::string_view bytes, std::string_view className,
                     const std::function<void(KeyedDecoder&)>& decode, const ArchiveBounds& bounds) {
  ArchiveReader archive(bytes, bounds);
  if (archive.isNil(archive.root())) return false;
  const Dictionary* const record = archive.entryOf(archive.root()).dictionary();
  if (!record) refuse("The root of the archive is not a record");
  const Array& classes = archive.classesOf(*record);
  const bool isOfClass = std::any_of(classes.begin(), classes.end(), [className](const Value& name) {
    return name.isString() && *name.string() == className;
  });
  if (!isOfClass) refuse("The root of the archive is of another class");
  RecordDecoder decoder(archive, *record);
  decode(decoder);
  return true;
}

std::optional<Dictionary> scalarsOfArchivedRecord(std::string_view bytes, std::string_view className) {
  const auto table = detail::BinaryPropertyListTable::open(bytes);
  if (!table) return std::nullopt;
  const SparseArchive archive(*table);
  const auto record = archive.record();
  if (!record || !archive.isOfClass(*record, className)) return std::nullopt;
  return archive.scalarsOf(*record);
}

Value unarchiveObjectWithData(std::string_view bytes) {
  ArchiveReader archive(bytes, {});
  return archive.decode(archive.root(), 1).value;
}

}  // namespace tidewell::base

#include <algorithm>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/KeyedArchive.h"
#include "tidewell/base/detail/ArchiveLayout.h"
#include "tidewell/base/detail/PropertyListReader.h"

namespace tidewell::base {

KeyedDecoder::~KeyedDecoder() = default;

namespace {

namespace layout = detail::archive;

[[noreturn]] void refuse(std::string_view reason) { raise(kInvalidUnarchiveOperationException, reason); }

/// The classes whose objects become values.
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

/// An archive that is open for reading.
class Archive {
 public:
  explicit Archive(std::string_view bytes)
      : list_(detail::readPropertyList(bytes, detail::ArchiveReferences::allowed)) {
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

  /// The entry that a reference leads to. Raises where there is none.
  [[nodiscard]] const Value& entryOf(BoxedPointer reference) const {
    const std::size_t index = detail::indexOf(reference);
    if (index >= objects_->count()) refuse("A reference leads out of the archive");
    return objects_->begin()[index];
  }

  [[nodiscard]] bool isNil(BoxedPointer reference) const {
    if (detail::indexOf(reference) != 0) return false;
    const Value& first = entryOf(reference);
    return first.isString() && *first.string() == layout::kNullObject;
  }

  /// The names of an object's class and its superclasses, nearest first.
  [[nodiscard]] const Array& classesOf(const Dictionary& object) const {
    const Value* const reference = object.find(layout::kClass);
    if (!reference || !detail::referenceIn(*reference)) refuse("An object has no class");
    const Dictionary* const description = entryOf(*detail::referenceIn(*reference)).dictionary();
    const Value* const classes = description ? description->find(layout::kClasses) : nullptr;
    if (!classes || !classes->array()) refuse("A class has no description");
    return *classes->array();
  }

  /// The value that a reference leads to, nil for a reference to nothing; and how large it is as a tree.
  struct Sized {
    const Value& value;
    std::uint64_t treeSize;
    int height;  ///< containers from here down
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
    if (!entry.isNumber()) refuse("An entry of the archive is not an object");
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

  /// What a key holds, directly or by reference; nil where it is missing.
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
  const Array* objects_ = nullptr;  ///< in `list_`
  BoxedPointer root_;
  std::vector<Object> decoded_;  ///< by place in `objects_`; strings and numbers are taken from there
};

class RecordDecoder final : public KeyedDecoder {
 public:
  RecordDecoder(Archive& archive, const Dictionary& record) : archive_(archive), record_(record) {}

  Value decodeObjectForKey(std::string_view key) override {
    const Value* const field = find(key);
    if (!field) return {};
    const BoxedPointer* const reference = detail::referenceIn(*field);
    if (!reference) refuse("A key that should hold an object does not");
    const Archive::Sized object = archive_.decode(*reference, 1);
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
  const Value* findNumber(std::string_view key) const {
    const Value* const field = find(key);
    if (field && !field->isNumber()) refuse("A key that should hold a number does not");
    return field;
  }

  Archive& archive_;
  const Dictionary& record_;
  std::uint64_t treeSize_ = 0;
};

}  // namespace

bool unarchiveRecord(std::string_view bytes, std::string_view className,
                     const std::function<void(KeyedDecoder&)>& decode) {
  Archive archive(bytes);
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

Value unarchiveObjectWithData(std::string_view bytes) {
  Archive archive(bytes);
  return archive.decode(archive.root(), 1).value;
}

}  // namespace tidewell::base

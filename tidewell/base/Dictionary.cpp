// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Dictionary.h"

#include <algorithm>
#include <memory>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Records.h"
#include "tidewell/base/internal/StringHash.h"

namespace tidewell::base {

namespace {
std::uint32_t keyHash(std::string_view key) noexcept { return static_cast<std::uint32_t>(stringHash(key)); }
}  // namespace

std::size_t DictionaryRecord::indexOf(std::string_view key) const noexcept {
  return indexOf(key, slots_.empty() ? 0 : keyHash(key));
}

std::size_t DictionaryRecord::indexOf(std::string_view key, std::uint32_t hash) const noexcept {
  if (slots_.empty()) {
    for (std::size_t index = 0; index < entries.size(); ++index) {
      if (entries[index].key == key) return index;
    }
    return kNone;
  }
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = hash & mask; slots_[at].place != 0; at = (at + 1) & mask) {
    const std::size_t index = slots_[at].place - 1;
    if (slots_[at].hash == hash && entries[index].key == key) return index;
  }
  return kNone;
}

std::pair<std::size_t, bool> DictionaryRecord::insert(std::string&& key, Value&& value) {
  const std::size_t count = entries.size() + 1;
  if (count > kLinearSearchLimit && count * 4 > slots_.size() * 3) {
    rebuild(std::max<std::size_t>(slots_.size() * 2, kLinearSearchLimit * 4));
  }
  const std::uint32_t hash = slots_.empty() ? 0 : keyHash(key);
  const std::size_t known = indexOf(key, hash);
  if (known != kNone) return {known, false};
  entries.push_back({std::move(key), std::move(value)});
  if (!slots_.empty()) enter(hash, count - 1);
  return {count - 1, true};
}

void DictionaryRecord::reserve(std::size_t count) {
  entries.reserve(count);
  if (count <= kLinearSearchLimit) return;
  std::size_t slotCount = kLinearSearchLimit * 4;
  while (count * 4 > slotCount * 3) slotCount *= 2;
  if (slotCount > slots_.size()) rebuild(slotCount);
}

void DictionaryRecord::remove(std::size_t index) {
  entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(index));
  if (!slots_.empty()) rebuild(entries.size() > kLinearSearchLimit ? slots_.size() : 0);
}

void DictionaryRecord::rebuild(std::size_t slotCount) {
  slots_.assign(slotCount, Slot());
  if (slotCount == 0) return;
  for (std::size_t index = 0; index < entries.size(); ++index) {
    enter(keyHash(entries[index].key), index);
  }
}

void DictionaryRecord::enter(std::uint32_t hash, std::size_t index) noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = hash & mask;
  while (slots_[at].place != 0) at = (at + 1) & mask;
  slots_[at] = {hash, static_cast<std::uint32_t>(index + 1)};
}

namespace {

const DictionaryRecord* dictionaryRecord(const SharedPointer& pointer) {
  return static_cast<const DictionaryRecord*>(pointer.get());
}

/// The record if `pointer` is its only owner, otherwise a fresh copy of it.
DictionaryRecord& uniqueRecord(SharedPointer& pointer) {
  if (!pointer.isUnique()) {
    auto copy = std::make_unique<DictionaryRecord>();
    if (const DictionaryRecord* shared = dictionaryRecord(pointer)) {
      copy->reserve(shared->entries.size() + 1);
      for (const Dictionary::Entry& entry : shared->entries) {
        copy->insert(std::string(entry.key), Value(entry.value));
      }
    }
    pointer = SharedPointer(copy.release());
  }
  return *static_cast<DictionaryRecord*>(pointer.get());
}

void refuseNil(const Value& object, std::string_view key) {
  if (!object.isNil()) return;
  raise(kInvalidArgumentException,
        "-[__NSDictionaryM setObject:forKey:]: object cannot be nil (key: " + std::string(key) + ")");
}

}  // namespace

Dictionary::Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries) {
  reserve(entries.size());
  for (const auto& [key, value] : entries) setObject(value, key);
}

std::size_t Dictionary::count() const noexcept {
  const DictionaryRecord* record = dictionaryRecord(record_);
  return record ? record->entries.size() : 0;
}

const Dictionary::Entry* Dictionary::begin() const noexcept {
  const DictionaryRecord* record = dictionaryRecord(record_);
  return record ? record->entries.data() : nullptr;
}

const Dictionary::Entry* Dictionary::end() const noexcept { return begin() + count(); }

const Value* Dictionary::find(std::string_view key) const noexcept {
  const DictionaryRecord* record = dictionaryRecord(record_);
  if (!record) return nullptr;
  const std::size_t index = record->indexOf(key);
  return index == DictionaryRecord::kNone ? nullptr : &record->entries[index].value;
}

Value Dictionary::objectForKey(std::string_view key) const {
  const Value* found = find(key);
  return found ? *found : Value();
}

void Dictionary::setObject(Value object, std::string_view forKey) {
  refuseNil(object, forKey);
  std::string key(forKey);  // before the record is modified: the text may be part of it
  DictionaryRecord& record = uniqueRecord(record_);
  const auto [index, added] = record.insert(std::move(key), std::move(object));
  if (!added) record.entries[index].value = std::move(object);
}

bool Dictionary::addObject(std::string key, Value object) {
  refuseNil(object, key);
  return uniqueRecord(record_).insert(std::move(key), std::move(object)).second;
}

void Dictionary::removeObjectForKey(std::string_view key) {
  const DictionaryRecord* shared = dictionaryRecord(record_);
  if (!shared) return;
  const std::size_t index = shared->indexOf(key);
  if (index != DictionaryRecord::kNone) uniqueRecord(record_).remove(index);
}

void Dictionary::removeAllObjects() noexcept { record_ = SharedPointer(); }

void Dictionary::reserve(std::size_t count) {
  if (count > 0) uniqueRecord(record_).reserve(count);
}

std::vector<std::string> Dictionary::allKeys() const {
  std::vector<std::string> keys;
  keys.reserve(count());
  for (const Entry& entry : *this) keys.push_back(entry.key);
  return keys;
}

bool operator==(const Dictionary& a, const Dictionary& b) noexcept { return Value(a).isEqual(Value(b)); }

std::string Dictionary::description() const { return Value(*this).description(); }

}  // namespace tidewell::base

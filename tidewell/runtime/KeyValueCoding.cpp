// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/KeyValueCoding.h"

#include <functional>

#include "tidewell/base/Exception.h"
#include "tidewell/base/KeyPath.h"
#include "tidewell/runtime/Description.h"
#include "tidewell/runtime/Observing.h"

namespace tidewell::runtime {
namespace {

const Object* fromOpaque(const void* object) { return static_cast<const Object*>(object); }

bool isEqual(const void* a, const void* b) {
  Object* const left = const_cast<Object*>(fromOpaque(a));
  Object* const right = const_cast<Object*>(fromOpaque(b));
  if (left == right) return true;
  return respondsTo(left, kIsEqual.selector()) && send(left, kIsEqual, right);
}

std::size_t hash(const void* object) {
  Object* const hashed = const_cast<Object*>(fromOpaque(object));
  if (respondsTo(hashed, kHash.selector())) return static_cast<std::size_t>(send(hashed, kHash));
  return std::hash<const void*>()(object);
}

constexpr base::ObjectOperations kObjectOperations{
    [](const void* object) { return description(fromOpaque(object)); },
    isEqual,
    hash,
    [](const void* object) { return fromOpaque(object)->isa().name(); },
    [](const void* object, std::string_view key) {
      return valueForKey(const_cast<Object*>(fromOpaque(object)), key);
    },
};

[[noreturn]] void raiseUnknownKey(const Object& object, std::string_view key, std::string_view operation) {
  std::string reason = "[" + plainDescription(object.isa().name(), &object);
  reason.append(" ").append(operation).append("]: this class is not key value coding-compliant for the key ");
  reason.append(key).append(".");
  base::raise(base::kUnknownKeyException, reason);
}

}  // namespace

base::Value objectValue(Ref object) {
  if (!object) return {};
  Object* const address = object.get();
  return base::Value(
      base::ObjectHandle{std::shared_ptr<void>(std::move(object), address), &kObjectOperations});
}

Ref objectOf(const base::Value& value) noexcept {
  const base::ObjectHandle* const handle = value.object();
  if (!handle || handle->operations != &kObjectOperations) return nullptr;
  return std::static_pointer_cast<Object>(handle->object);
}

void raiseUnfitValue(const base::Value& value, std::string_view encoding) {
  base::raise(base::kInvalidArgumentException, "a property of type " + std::string(encoding) +
                                                   " cannot take " + value.description() + " (" +
                                                   value.className() + ")");
}

base::Value valueForKey(Object* object, std::string_view key) {
  if (!object) return {};
  const Property* const property = object->isa().property(key);
  if (!property) raiseUnknownKey(*object, key, "valueForUndefinedKey:");
  return property->get(*object);
}

void setValueForKey(Object* object, std::string_view key, const base::Value& value) {
  if (!object) return;
  const Property* const property = object->isa().property(key);
  if (!property || !property->set) raiseUnknownKey(*object, key, "setValue:forUndefinedKey:");
  if (property->announcesItself) {
    property->set(*object, value);
  } else {
    changing(*object, key, [&] { property->set(*object, value); });
  }
}

base::Value valueForKeyPath(Object* object, std::string_view keyPath) {
  return base::valueForKeyPath(objectValue(refOf(object)), keyPath);
}

}  // namespace tidewell::runtime

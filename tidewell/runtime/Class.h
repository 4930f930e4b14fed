// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Method.h"
#include "tidewell/runtime/MethodCache.h"
#include "tidewell/runtime/Object.h"
#include "tidewell/runtime/Property.h"
#include "tidewell/runtime/Protocol.h"

namespace tidewell::runtime {

struct ClassContents;
struct ClassDescription;

/// A class: a name, a superclass, methods, properties and protocols. Itself an object, whose class (the
/// metaclass) holds its class methods.
///
/// `classOf<T>()` declares the class of a C++ type; other classes are created at run time with
/// `allocateClassPair`, filled, and registered. A class is never freed. Its native class is itself if it
/// represents a C++ type, otherwise its superclass's; it determines which functions accept its objects as
/// their receiver. Any thread; repeated lookups take no lock.
class TIDEWELL_EXPORT Class final : public Object {
 public:
  ~Class() override;

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  /// Null for a root class.
  [[nodiscard]] Class* superclass() const noexcept { return superclass_; }
  /// The size of an object in bytes: that of the native type plus any extra bytes requested.
  [[nodiscard]] std::size_t instanceSize() const noexcept { return instanceSize_; }
  [[nodiscard]] Class& metaclass() const noexcept { return isa(); }
  [[nodiscard]] bool isMetaclass() const noexcept { return isMetaclass_; }
  /// Whether objects may have this class and lookups by name find it.
  [[nodiscard]] bool isRegistered() const noexcept { return isRegistered_.load(std::memory_order_acquire); }
  [[nodiscard]] Class& nativeClass() const noexcept { return *nativeClass_; }
  /// Whether this is `other` or inherits from it.
  [[nodiscard]] bool isSubclassOf(const Class& other) const noexcept {
    return depth_ >= other.depth_ && ancestors_[other.depth_] == &other;
  }
  /// Whether the class or an ancestor adopts the protocol.
  [[nodiscard]] bool conformsTo(const Protocol& protocol) const;

  /// The class's own or inherited instance method; null if there is none or the selector is empty.
  [[nodiscard]] const Method* method(Selector selector) const { return lookUp(selector).method; }
  /// The same, with everything that a call needs.
  [[nodiscard]] const MethodCache::Answer& lookUp(Selector selector) const {
    if (!selector) [[unlikely]]
      return MethodCache::kNoMethod;  // never reached for a `Message`, whose selector is not empty
    const MethodCache::Answer* const known = cache_.find(selector);
    if (known) [[likely]]
      return *known;
    return findMethod(selector);
  }
  /// Declared by the class itself, in the order of declaration.
  [[nodiscard]] std::vector<const Method*> ownMethods() const;
  [[nodiscard]] const Method* ownMethod(Selector selector) const;
  [[nodiscard]] std::vector<Property> ownProperties() const;
  /// The property with that name, of the class or its nearest ancestor; null if there is none. Valid forever.
  [[nodiscard]] const Property* property(std::string_view name) const;

 private:
  friend class Registry;
  Class();
  void isMadeByRuntimeMake() const override {}
  [[nodiscard]] const MethodCache::Answer& findMethod(Selector selector) const;

  // Set before any other thread can see the class.
  std::string name_;
  Class* superclass_ = nullptr;
  Class* nativeClass_ = nullptr;
  std::vector<const Class*> ancestors_;  ///< from the root class to this one
  std::size_t depth_ = 0;
  std::size_t instanceSize_ = 0;
  bool isMetaclass_ = false;

  std::atomic<bool> isRegistered_{false};
  mutable MethodCache cache_;
  std::unique_ptr<ClassContents> contents_;  ///< guarded by the registry's lock
};

// Classes created at run time. These functions return null or false if a name or member exists already, and
// raise `kInvalidArgumentException` for operations that would be unsafe. Any thread.

/// Creates an unregistered subclass of `superclass` (null: a root class). Null if the name is empty or
/// belongs to another class, registered or not. `extraBytes` enlarges its objects; existing objects cannot be
/// switched to such a class. The name stays reserved even if the class is never registered.
[[nodiscard]] TIDEWELL_EXPORT Class* allocateClassPair(Class* superclass, std::string_view name,
                                                       std::size_t extraBytes = 0);
/// Allows objects to have this class, and lookups by name to find it. Does nothing if already registered.
TIDEWELL_EXPORT void registerClassPair(Class& made);
/// The registered class with that name; null if there is none. A C++ type's class exists once `classOf<T>()`
/// has been called.
[[nodiscard]] TIDEWELL_EXPORT Class* classNamed(std::string_view name);
/// Defers the declaration of a class until its name is looked up: that calls `declare`, which declares it and
/// may be called by several threads at once. A later call for the same name has no effect.
TIDEWELL_EXPORT void declareWhenNamed(std::string_view name, Class& (*declare)());

/// Adds the implementation of `from` under a selector. Returns false if the class itself (not an ancestor)
/// has such a method. Takes effect immediately, also in subclasses. Raises if the function needs a native
/// type other than that of the class's objects.
TIDEWELL_EXPORT bool addMethod(Class& to, Selector selector, const Method& from);
/// The same, but replaces the class's own method. Returns the replaced method, or null if there was none.
TIDEWELL_EXPORT const Method* replaceMethod(Class& in, Selector selector, const Method& with);
/// Makes the class adopt the protocol. Returns false if it does already.
TIDEWELL_EXPORT bool addProtocol(Class& to, const Protocol& protocol);
/// Adds a property. Returns false if the class itself has one with that name.
TIDEWELL_EXPORT bool addProperty(Class& to, Property property);
/// Changes the class of a live object and returns the previous class; null for a null object. A send in
/// progress completes with the previous class. Raises if the new class is unregistered, has objects of
/// another size, or represents another native type.
TIDEWELL_EXPORT Class* setClass(Object* object, Class& to);

/// The root class, NSObject, which represents `Object`.
[[nodiscard]] TIDEWELL_EXPORT Class& rootClass();

[[nodiscard]] inline bool isKindOf(const Object* object, const Class& kind) noexcept {
  return object && object->isa().isSubclassOf(kind);
}
[[nodiscard]] inline bool respondsTo(const Object* object, Selector selector) {
  return object && object->isa().method(selector);
}
[[nodiscard]] inline bool conformsTo(const Object* object, const Protocol& protocol) {
  return object && object->isa().conformsTo(protocol);
}

}  // namespace tidewell::runtime

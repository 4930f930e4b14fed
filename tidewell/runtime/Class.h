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
/// Classes of C++ types are declared by `classOf<T>()`; others are made at run time with `allocateClassPair`,
/// filled, and registered. A class is never freed. Every class has a native class: itself where it stands for
/// a C++ type, else that of its superclass; it tells which functions may take its objects as their receiver.
/// Any thread; a lookup takes no lock once it was answered before.
class TIDEWELL_EXPORT Class final : public Object {
 public:
  ~Class() override;

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  /// Null for a root class.
  [[nodiscard]] Class* superclass() const noexcept { return superclass_; }
  /// The size of an object in bytes, as the native type has it, and the extra bytes asked for.
  [[nodiscard]] std::size_t instanceSize() const noexcept { return instanceSize_; }
  [[nodiscard]] Class& metaclass() const noexcept { return isa(); }
  [[nodiscard]] bool isMetaclass() const noexcept { return isMetaclass_; }
  /// Whether objects may be of it and lookups by name find it.
  [[nodiscard]] bool isRegistered() const noexcept { return isRegistered_.load(std::memory_order_acquire); }
  [[nodiscard]] Class& nativeClass() const noexcept { return *nativeClass_; }
  /// Whether it is the other class or below it.
  [[nodiscard]] bool isSubclassOf(const Class& other) const noexcept {
    return depth_ >= other.depth_ && ancestors_[other.depth_] == &other;
  }
  /// Whether the class or one above it adopts the protocol.
  [[nodiscard]] bool conformsTo(const Protocol& protocol) const;

  /// The instance method that the class has or inherits; null where there is none, and for no selector.
  [[nodiscard]] const Method* method(Selector selector) const { return lookUp(selector).method; }
  /// The same, with what a call needs.
  [[nodiscard]] const MethodCache::Answer& lookUp(Selector selector) const {
    if (!selector) [[unlikely]]
      return MethodCache::kNoMethod;  // senders of a `Message` pay nothing: the compiler knows theirs
    const MethodCache::Answer* const known = cache_.find(selector);
    if (known) [[likely]]
      return *known;
    return findMethod(selector);
  }
  /// What the class itself declares, in the order in which it was added.
  [[nodiscard]] std::vector<const Method*> ownMethods() const;
  [[nodiscard]] const Method* ownMethod(Selector selector) const;
  [[nodiscard]] std::vector<Property> ownProperties() const;
  /// The property of that name of the class or the nearest above it; null where there is none. Valid for
  /// ever.
  [[nodiscard]] const Property* property(std::string_view name) const;

 private:
  friend class Registry;
  Class();
  void isMadeByRuntimeMake() const override {}
  [[nodiscard]] const MethodCache::Answer& findMethod(Selector selector) const;

  // Set before the class is seen by a second thread.
  std::string name_;
  Class* superclass_ = nullptr;
  Class* nativeClass_ = nullptr;
  std::vector<const Class*> ancestors_;  ///< from the root down to the class itself
  std::size_t depth_ = 0;
  std::size_t instanceSize_ = 0;
  bool isMetaclass_ = false;

  std::atomic<bool> isRegistered_{false};
  mutable MethodCache cache_;
  std::unique_ptr<ClassContents> contents_;  ///< under the registry's lock
};

// Classes made at run time. They answer null or NO for what is taken or there already; all raise
// `kInvalidArgumentException` for what would be unsafe.

/// A new class below `superclass` (null: a root class), not registered yet. Null where the name is empty, or
/// is another class's, registered or not. `extraBytes` makes its objects larger; no object can then be
/// switched to it. The name stays taken whether it is registered or not.
[[nodiscard]] TIDEWELL_EXPORT Class* allocateClassPair(Class* superclass, std::string_view name,
                                                       std::size_t extraBytes = 0);
/// Lets objects be of the class, and lookups by name find it. Nothing happens where it is so already.
TIDEWELL_EXPORT void registerClassPair(Class& made);
/// The registered class of a name; null where there is none. A class of a C++ type is there once
/// `classOf<T>()` was called.
[[nodiscard]] TIDEWELL_EXPORT Class* classNamed(std::string_view name);

/// Adds the implementation of `from` under a selector. NO where the class itself (not one above it) has a
/// method of that selector. Takes effect at once, in the classes below it, too. Raises where the function
/// needs another native type than the class's objects have.
TIDEWELL_EXPORT bool addMethod(Class& to, Selector selector, const Method& from);
/// The same, replacing what the class itself has: the method that was replaced, null where it had none.
TIDEWELL_EXPORT const Method* replaceMethod(Class& in, Selector selector, const Method& with);
/// Says that the class adopts the protocol. NO where it does already.
TIDEWELL_EXPORT bool addProtocol(Class& to, const Protocol& protocol);
/// Adds a property. NO where the class itself has one of that name.
TIDEWELL_EXPORT bool addProperty(Class& to, Property property);
/// Switches the class of a live object; answers the class it had. A send that has begun ends with the old
/// class. Null object: null. Raises where the class is not registered, its objects have another size, or it
/// stands for another native type.
TIDEWELL_EXPORT Class* setClass(Object* object, Class& to);

/// The root class, NSObject, which stands for `Object`.
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

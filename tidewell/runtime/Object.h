#pragma once

#include <atomic>
#include <memory>

#include "tidewell/base/Export.h"

namespace tidewell::runtime {

class Class;
class Object;
struct SideRecord;

/// A reference that keeps its object alive; null is nil.
using Ref = std::shared_ptr<Object>;
/// A reference that does not: `lock` gives the object whole, or nil as soon as its last owner let go. Safe
/// while the object dies on another thread; one `WeakRef` itself is written by one thread at a time.
using WeakRef = std::weak_ptr<Object>;

/// The root of the classes that the object model knows.
///
/// Objects are made with `make<T>(…)`, never on the stack or with `std::make_shared` (which does not
/// compile), and live as long as somebody owns a `std::shared_ptr` to them. An object knows its class, which
/// may be switched while it stays the same object. Two words beside the pointer to its virtual functions and
/// the two of `shared_from_this`; associations and observers lie in a record of their own, made at first
/// need.
///
/// While its constructor runs, and again once its own destructors are through, an object is of the root class
/// and responds to nothing.
class TIDEWELL_EXPORT Object : public std::enable_shared_from_this<Object> {
 public:
  /// The nearest class that names itself to `Subclass`.
  using Self = Object;

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  /// Drops associations and observations; reports observers that were left.
  virtual ~Object();

  /// The class of the object now. Any thread.
  [[nodiscard]] Class& isa() const noexcept {
    Class* const isa = isa_.load(std::memory_order_acquire);
    return isa ? *isa : rootClass();
  }

 protected:
  Object() noexcept = default;

 private:
  friend struct ObjectAccess;
  /// Only `make` defines it: an object that is made in another way would not know its class.
  virtual void isMadeByRuntimeMake() const = 0;
  static Class& rootClass() noexcept;

  std::atomic<Class*> isa_{nullptr};
  std::atomic<SideRecord*> side_{nullptr};
};

/// The members of `Object` that the object model itself writes.
struct ObjectAccess {
  static std::atomic<Class*>& isa(Object& object) noexcept { return object.isa_; }
  static std::atomic<SideRecord*>& side(const Object& object) noexcept {
    return const_cast<Object&>(object).side_;
  }
};

}  // namespace tidewell::runtime

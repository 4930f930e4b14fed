// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>

#include "tidewell/base/Export.h"

namespace tidewell::runtime {

class Class;
class Object;
struct SideRecord;

/// A strong reference; null is nil.
using Ref = std::shared_ptr<Object>;
/// A weak reference. `lock` returns the complete object, or null once its last owner has released it, even
/// while the object is being destroyed on another thread. Writing to one `WeakRef` needs exclusive access.
using WeakRef = std::weak_ptr<Object>;

/// The root class of the object model.
///
/// Objects are created with `make<T>(…)`, never on the stack or with `std::make_shared` (neither compiles),
/// and live as long as a `std::shared_ptr` owns them. An object knows its class, which can be changed during
/// its lifetime. It takes two words in addition to its virtual table pointer and `shared_from_this`;
/// associations and observers are stored separately, allocated on demand.
///
/// During its constructor, and after the destructors of its own class, an object belongs to the root class
/// and responds to no message.
class TIDEWELL_EXPORT Object : public std::enable_shared_from_this<Object> {
 public:
  /// The nearest class that uses `Subclass`.
  using Self = Object;

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  /// Removes associations and observations, and reports observers that are still registered.
  virtual ~Object();

  /// The current class of the object. Any thread.
  [[nodiscard]] Class& isa() const noexcept {
    // Pairs with the stores of `make` and `setClass`: the class is complete.
    Class* const isa = isa_.load(std::memory_order_acquire);
    return isa ? *isa : rootClass();
  }

 protected:
  Object() noexcept = default;

 private:
  friend struct ObjectAccess;
  /// Defined by `make` only: an object created in any other way would not know its class.
  virtual void isMadeByRuntimeMake() const = 0;
  static Class& rootClass() noexcept;

  std::atomic<Class*> isa_{nullptr};
  std::atomic<SideRecord*> side_{nullptr};
};

/// Access to the private members of `Object` for the object model itself.
struct ObjectAccess {
  static std::atomic<Class*>& isa(Object& object) noexcept { return object.isa_; }
  static std::atomic<SideRecord*>& side(const Object& object) noexcept {
    return const_cast<Object&>(object).side_;
  }
};

}  // namespace tidewell::runtime

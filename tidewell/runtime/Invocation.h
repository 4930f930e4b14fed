#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Message.h"

namespace tidewell::runtime {

/// A message put together piece by piece, and sent to one object after another.
///
/// Made from a signature, as a protocol's method description has it. Copies its arguments and keeps objects
/// alive: argument 2 is the method's first. One thread at a time. A wrong index or type, an argument that is
/// missing, a target whose method has other types, and one that does not respond (nothing responds to the
/// selector that an invocation has before it is set) raise `kInvalidArgumentException` before anything is
/// called.
class TIDEWELL_EXPORT Invocation {
 public:
  explicit Invocation(const Signature& signature);
  ~Invocation();
  Invocation(const Invocation&) = delete;
  Invocation& operator=(const Invocation&) = delete;

  void setTarget(Ref target) noexcept { target_ = std::move(target); }
  void setSelector(Selector selector) noexcept { selector_ = selector; }

  /// An object as reference, pointer or `std::shared_ptr`; everything else as a value of the very type.
  template <class T>
  void setArgument(std::size_t index, const T& argument) {
    const TypeInfo& type = typeInfo<Stored<T>>();
    if constexpr (std::is_same_v<Stored<T>, Object*>) {
      const Ref object = refOf(toCanonical<const T&>(argument));
      store(index, type, &object);
    } else {
      const Stored<T>& stored = toCanonical<const T&>(argument);
      store(index, type, &stored);
    }
  }

  /// The same without a copy: the method gets a reference to this very value, which outlives the invocation.
  /// For functions above all, whose copies have a state each. Not for objects.
  template <class T>
  void setArgumentReference(std::size_t index, const T& argument) {
    static_assert(std::is_same_v<Stored<T>, T>, "not for objects");
    refer(index, typeInfo<T>(), &argument);
  }

  /// Sends the message to the target. nil: nothing is called, and the result is a zero of its type. What the
  /// method raises passes.
  void invoke();

  /// What the last `invoke` answered. Raises where it answered nothing, or another type.
  template <class R>
  [[nodiscard]] R returnValue() const {
    const void* result = checkedResult(typeInfo<CanonicalResult<R>>());
    if (!result) return R();
    return fromCanonicalResult<R>(CanonicalResult<R>(*static_cast<const CanonicalResult<R>*>(result)));
  }

 private:
  /// Where an argument or the result lies.
  struct Place {
    void* bytes = nullptr;        ///< the invocation's own memory for it
    const void* value = nullptr;  ///< null: not set; `bytes`: a value of the invocation's; else the caller's
  };
  /// Enough for the delegate's messages: they need no memory of their own.
  static constexpr std::size_t kBytes = 256;

  void store(std::size_t index, const TypeInfo& type, const void* value);
  void refer(std::size_t index, const TypeInfo& type, const void* value);
  [[nodiscard]] Place& checkedArgument(std::size_t index, const TypeInfo& type);
  static void empty(Place& place, const TypeInfo& type) noexcept;
  const void* checkedResult(const TypeInfo& type) const;

  const Signature* signature_;
  Ref target_;
  Selector selector_;
  Place* places_;  ///< the arguments', then the result's
  alignas(std::max_align_t) unsigned char inline_[kBytes];
  std::unique_ptr<unsigned char[]> memory_;  ///< in place of `inline_` where that is too small
};

}  // namespace tidewell::runtime

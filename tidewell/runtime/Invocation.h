// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Message.h"

namespace tidewell::runtime {

/// A message assembled at run time, which can be sent to several targets.
///
/// Constructed from a signature such as a protocol's method description holds. Copies its arguments and keeps
/// argument objects alive. Argument 2 is the method's first. For one thread at a time. Raises
/// `kInvalidArgumentException`, without calling the method, for a wrong index or type, a missing argument,
/// more than `kMaximumArguments`, a target whose method has another signature, and a target that does not
/// respond to the selector (or a selector that was never set).
class TIDEWELL_EXPORT Invocation {
 public:
  static constexpr std::size_t kMaximumArguments = 16;

  explicit Invocation(const Signature& signature);
  ~Invocation();
  Invocation(const Invocation&) = delete;
  Invocation& operator=(const Invocation&) = delete;

  void setTarget(Ref target) noexcept { target_ = std::move(target); }
  void setSelector(Selector selector) noexcept { selector_ = selector; }

  /// Objects may be passed as reference, pointer or `std::shared_ptr`; other values must have exactly the
  /// signature's type.
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

  /// The same without a copy: the method receives a reference to `argument`, which must outlive the
  /// invocation. Mainly for function objects, whose copies would not share state. Not for objects.
  template <class T>
  void setArgumentReference(std::size_t index, const T& argument) {
    static_assert(std::is_same_v<Stored<T>, T>, "not for objects");
    refer(index, typeInfo<T>(), &argument);
  }

  /// Sends the message to the target. A null target is a no-op and gives a zero result. Propagates exceptions
  /// of the method.
  void invoke();

  /// The result of the last `invoke`. Raises if there is none, or it has another type.
  template <class R>
  [[nodiscard]] R returnValue() const {
    const void* result = checkedResult(typeInfo<CanonicalResult<R>>());
    if (!result) return R();
    return fromCanonicalResult<R>(CanonicalResult<R>(*static_cast<const CanonicalResult<R>*>(result)));
  }

 private:
  /// The location of an argument or of the result.
  struct Place {
    void* bytes = nullptr;        ///< storage within the invocation
    const void* value = nullptr;  ///< null if unset; `bytes` if stored there; otherwise the caller's value
  };
  /// Enough for every delegate message, so that those need no allocation.
  static constexpr std::size_t kBytes = 256;

  void store(std::size_t index, const TypeInfo& type, const void* value);
  void refer(std::size_t index, const TypeInfo& type, const void* value);
  [[nodiscard]] Place& checkedArgument(std::size_t index, const TypeInfo& type);
  static void empty(Place& place, const TypeInfo& type) noexcept;
  const void* checkedResult(const TypeInfo& type) const;

  const Signature* signature_;
  Ref target_;
  Selector selector_;
  Place* places_;  ///< for the arguments, then the result
  alignas(std::max_align_t) unsigned char inline_[kBytes];
  std::unique_ptr<unsigned char[]> memory_;  ///< replaces `inline_` if that is too small
};

}  // namespace tidewell::runtime

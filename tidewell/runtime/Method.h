// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <type_traits>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Selector.h"
#include "tidewell/runtime/Signature.h"

namespace tidewell::runtime {

class Class;

/// An implementation registered under a selector, as held by classes and returned by lookups. Immutable and
/// never freed.
class TIDEWELL_EXPORT Method {
 public:
  /// \param needs the class that the function requires of its receiver; null for any object.
  /// \param state available to the function through `state()`; must live forever.
  Method(Selector under, AnyFunction implementation, const Signature& types, const Class* needs,
         const void* state = nullptr) noexcept
      : selector_(under), function_(implementation), signature_(&types), needs_(needs), state_(state) {}

  /// The selector under which the method was added; it may differ from that of the method it was copied from.
  [[nodiscard]] Selector selector() const noexcept { return selector_; }
  [[nodiscard]] const Signature& signature() const noexcept { return *signature_; }
  [[nodiscard]] const std::string& typeEncoding() const noexcept { return signature_->encoding; }
  [[nodiscard]] AnyFunction function() const noexcept { return function_; }
  /// The class whose native type the receiver must have; null for any object.
  [[nodiscard]] const Class* neededClass() const noexcept { return needs_; }
  /// The captured state of a lambda; null for other functions.
  [[nodiscard]] const void* state() const noexcept { return state_; }

  /// Calls the function with the given types. The caller has checked the signature.
  template <class R, class... P>
  CanonicalResult<R> callUnchecked(Object& self, Canonical<P>... arguments) const {
    return reinterpret_cast<Function<R, P...>>(function_)(self, *this, arguments...);
  }

 private:
  Selector selector_;
  AnyFunction function_;
  const Signature* signature_;
  const Class* needs_;
  const void* state_;
};

}  // namespace tidewell::runtime

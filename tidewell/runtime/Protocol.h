// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Selector.h"
#include "tidewell/runtime/Signature.h"

namespace tidewell::runtime {

template <class Type>
class Message;

/// A method declared by a protocol.
struct MethodDescription {
  Selector selector;
  const Signature* signature = nullptr;
  bool isRequired = false;
};

/// A named list of methods that an adopting class must (required) or may (optional) implement.
///
/// Fill it where it is created, as a function-local static that is never destroyed; any thread may then read
/// it. Compared by address: two protocols with the same name are different.
class TIDEWELL_EXPORT Protocol {
 public:
  explicit Protocol(std::string_view name) : name_(name) {}

  template <class R, class... P>
  Protocol& required(const Message<R(P...)>& message) {
    return add(message.selector(), message.signature(), true);
  }
  template <class R, class... P>
  Protocol& optional(const Message<R(P...)>& message) {
    return add(message.selector(), message.signature(), false);
  }
  /// Raises for an empty selector.
  Protocol& add(Selector selector, const Signature& signature, bool isRequired);

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const std::vector<MethodDescription>& methods() const noexcept { return methods_; }
  /// The description of an instance method; null if the protocol has none of that kind.
  [[nodiscard]] const MethodDescription* methodDescription(Selector selector, bool isRequired) const noexcept;

 private:
  std::string name_;
  std::vector<MethodDescription> methods_;
};

}  // namespace tidewell::runtime

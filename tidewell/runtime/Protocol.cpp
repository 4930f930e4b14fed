// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Protocol.h"

#include "tidewell/base/Exception.h"

namespace tidewell::runtime {

Protocol& Protocol::add(Selector selector, const Signature& signature, bool isRequired) {
  if (!selector) base::raise(base::kInvalidArgumentException, "a method has a selector");
  methods_.push_back({selector, &signature, isRequired});
  return *this;
}

const MethodDescription* Protocol::methodDescription(Selector selector, bool isRequired) const noexcept {
  for (const MethodDescription& method : methods_) {
    if (method.selector == selector && method.isRequired == isRequired) return &method;
  }
  return nullptr;
}

}  // namespace tidewell::runtime

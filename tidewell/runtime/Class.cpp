// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Class.h"

#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/runtime/internal/Registry.h"

namespace tidewell::runtime {

Class::Class() : contents_(std::make_unique<ClassContents>()) {}
Class::~Class() = default;

bool Class::conformsTo(const Protocol& protocol) const {
  return Registry::shared().conforms(*this, protocol);
}
const MethodCache::Answer& Class::findMethod(Selector selector) const {
  return Registry::shared().findMethod(*this, selector);
}
std::vector<const Method*> Class::ownMethods() const { return Registry::shared().ownMethods(*this); }
const Method* Class::ownMethod(Selector selector) const {
  return Registry::shared().ownMethod(*this, selector);
}
std::vector<Property> Class::ownProperties() const { return Registry::shared().ownProperties(*this); }
const Property* Class::property(std::string_view name) const {
  return Registry::shared().property(*this, name);
}

Class* allocateClassPair(Class* superclass, std::string_view name, std::size_t extraBytes) {
  static_cast<void>(classNamed(name));  // declares a class whose declaration was deferred
  return Registry::shared().allocate(superclass, name, extraBytes);
}
void registerClassPair(Class& made) { Registry::shared().registerPair(made); }
Class* classNamed(std::string_view name) { return Registry::shared().named(name); }
void declareWhenNamed(std::string_view name, Class& (*declare)()) {
  Registry::shared().declareWhenNamed(name, declare);
}

bool addMethod(Class& to, Selector selector, const Method& from) {
  return Registry::shared().addMethod(to, selector, from);
}
const Method* replaceMethod(Class& in, Selector selector, const Method& with) {
  return Registry::shared().replaceMethod(in, selector, with);
}
bool addProtocol(Class& to, const Protocol& protocol) { return Registry::shared().addProtocol(to, protocol); }
bool addProperty(Class& to, Property property) {
  return Registry::shared().addProperty(to, std::move(property));
}

Class* setClass(Object* object, Class& to) {
  if (!object) return nullptr;
  Class& was = object->isa();
  const bool fits = to.isRegistered() && !to.isMetaclass() && !was.isMetaclass() &&
                    to.instanceSize() == was.instanceSize() && &to.nativeClass() == &was.nativeClass();
  if (!fits)
    base::raise(base::kInvalidArgumentException,
                "an object of " + was.name() + " cannot become one of " + to.name() +
                    ": not registered, of another size, or of another native class");
  return ObjectAccess::isa(*object).exchange(&to, std::memory_order_acq_rel);
}

Class& rootClass() { return Registry::shared().root(); }
Class& declareClass(const NativeType& type) { return Registry::shared().declare(type); }

}  // namespace tidewell::runtime

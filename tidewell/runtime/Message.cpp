// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Message.h"

#include <string>

#include "tidewell/base/Exception.h"
#include "tidewell/runtime/Description.h"

namespace tidewell::runtime {

void raiseUnrecognizedSelector(const Object& receiver, Selector selector) {
  const bool isClass = receiver.isa().isMetaclass();
  std::string reason = isClass ? "+[" : "-[";
  reason.append(receiver.isa().name()).append(" ").append(selector ? selector.name() : "(null)");
  reason.append(isClass ? "]: unrecognized selector sent to class "
                        : "]: unrecognized selector sent to instance ");
  base::raise(base::kInvalidArgumentException, reason + addressText(&receiver));
}

void raiseSignatureMismatch(Selector selector, const Signature& wanted, const Signature& found) {
  base::raise(base::kInvalidArgumentException, "the types of " + std::string(selector.name()) + " are " +
                                                   found.text + " (" + found.encoding + "), not " +
                                                   wanted.text + " (" + wanted.encoding + ")");
}

void raiseWrongObject(const Object* object, const Class& wanted) {
  const std::string found = object ? plainDescription(object->isa().name(), object) : std::string("nil");
  base::raise(base::kInvalidArgumentException,
              "an argument is " + found + ", not an object of the native class " + wanted.name());
}

template <>
Class& checkedObject<Class>(Object* object) {
  if (!object || !object->isa().isMetaclass())
    base::raise(base::kInvalidArgumentException, "an argument is not a class");
  return static_cast<Class&>(*object);
}

}  // namespace tidewell::runtime

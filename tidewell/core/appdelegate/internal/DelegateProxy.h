#pragma once

#include <atomic>
#include <cstddef>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/Associations.h"
#include "tidewell/runtime/Class.h"
#include "tidewell/runtime/Method.h"
#include "tidewell/runtime/Object.h"
#include "tidewell/runtime/Selector.h"

namespace tidewell {

/// The class, below a root class of its own, whose instance methods are copied into the subclasses of
/// delegates. It has no objects: when its methods run, they run on the application's delegate.
[[nodiscard]] runtime::Class& donorClass();

/// The state of a forwarding method: what the real-implementation map says for it. Kept here, too, because
/// each call needs it, and reading an association takes a lock and longer than the rest of the call.
struct Forwarding {
  mutable std::atomic<const runtime::Method*> original{nullptr};
};

/// Whether an implementation is one that was copied from the donor.
[[nodiscard]] bool isForwarding(const runtime::Method& method);

// What is attached to a proxied delegate: the class that it had before, and the real-implementation map, a
// dictionary from a selector's name to a boxed pointer to the method that this class has for it, null where
// it has none.

void attachRealClass(runtime::Object* object, runtime::Class& realClass);
/// Null where none is attached.
[[nodiscard]] runtime::Ref realClass(const runtime::Object* object);
/// nil takes the map away.
void attachRealImplementations(runtime::Object* object, base::Value map, runtime::AssociationPolicy policy);
/// nil where the object has no map.
[[nodiscard]] base::Value realImplementations(const runtime::Object* object);

/// Gives up the proxied delegate where it is this object, and answers it: null where it is another one. Of
/// two threads that ask at once, one gets it.
[[nodiscard]] runtime::Ref takeOriginalDelegate(const runtime::Object* ifItIs);

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
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

/// The class whose instance methods are copied into the subclasses of delegates; its superclass is a root
/// class of its own. Has no instances: its methods run on the application's delegate.
[[nodiscard]] runtime::Class& donorClass();

/// The state of a forwarding method: its entry in the real-implementation map. Duplicated here because each
/// call needs it, and reading an association takes a lock and more time than the rest of the call.
struct Forwarding {
  mutable std::atomic<const runtime::Method*> original{nullptr};
};

/// Whether an implementation was copied from the donor.
[[nodiscard]] bool isForwarding(const runtime::Method& method);

// Associations of a proxied delegate: its original class, and the real-implementation map. The map's keys are
// selector names; its values are boxed pointers to that class's methods, null if it has none.

void attachRealClass(runtime::Object* object, runtime::Class& realClass);
/// Null if there is none.
[[nodiscard]] runtime::Ref realClass(const runtime::Object* object);
/// nil removes the map.
void attachRealImplementations(runtime::Object* object, base::Value map, runtime::AssociationPolicy policy);
/// nil if there is none.
[[nodiscard]] base::Value realImplementations(const runtime::Object* object);

/// Releases and returns the proxied delegate if it is this object; otherwise returns null. If two threads
/// call this at once, only one gets the object.
[[nodiscard]] runtime::Ref takeOriginalDelegate(const runtime::Object* ifItIs);

}  // namespace tidewell

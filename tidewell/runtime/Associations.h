// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// How an association holds its value.
enum class AssociationPolicy {
  assign,           ///< weak: reads as nil once the object is gone
  retain,           ///< strong
  retainNonatomic,  ///< the same as `retain`: every access is atomic
};

/// Associates a value with an object under a key, which is compared by address; nil removes the association.
/// It lives until the object's own destructor has run. Any thread; the previous value is destroyed with no
/// lock held. Ignores a null object.
TIDEWELL_EXPORT void setAssociatedObject(Object* object, const void* key, base::Value value,
                                         AssociationPolicy policy);
/// nil if there is no value under the key.
[[nodiscard]] TIDEWELL_EXPORT base::Value associatedObject(const Object* object, const void* key);

}  // namespace tidewell::runtime

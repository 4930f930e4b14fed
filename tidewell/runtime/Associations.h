#pragma once

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// How an associated value is held.
enum class AssociationPolicy {
  assign,           ///< an object is not kept alive: nil once it died
  retain,           ///< kept alive
  retainNonatomic,  ///< as `retain`: every access is atomic here
};

/// Attaches a value to an object under a key, whose address is its identity; nil takes it away. It goes when
/// the object does, after the object's own destructor. Any thread; what was there before is destroyed
/// with no lock held. A null object is ignored.
TIDEWELL_EXPORT void setAssociatedObject(Object* object, const void* key, base::Value value,
                                         AssociationPolicy policy);
/// nil where nothing is attached under the key.
[[nodiscard]] TIDEWELL_EXPORT base::Value associatedObject(const Object* object, const void* key);

}  // namespace tidewell::runtime

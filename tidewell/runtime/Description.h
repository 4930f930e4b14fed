#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Message.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// What an object says of itself; a class defines it or not.
inline constinit const Message<std::string()> kDescription{"description"};
/// Whether the object counts as equal to another; a class defines it together with `kHash`, or neither.
inline constinit const Message<bool(Object*)> kIsEqual{"isEqual:"};
inline constinit const Message<std::uint64_t()> kHash{"hash"};

/// What `%@` prints for an object: what its method `description` answers, else "<Name: 0x…>"; the name of a
/// class; "(null)" for nil.
[[nodiscard]] TIDEWELL_EXPORT std::string description(const Object* object);
/// "<Name: 0x…>" with the given class name.
[[nodiscard]] TIDEWELL_EXPORT std::string plainDescription(std::string_view className, const Object* object);
/// An address as `%p` prints it: "0x600000c8".
[[nodiscard]] TIDEWELL_EXPORT std::string addressText(const void* address);

/// Hands on what has no caller to tell: an object that died while it was observed. Before a reporter is set
/// the sentence is dropped.
using Reporter = void (*)(std::string_view text) noexcept;
TIDEWELL_EXPORT void setReporter(Reporter reporter) noexcept;
/// Reports that an object died while it was observed.
void reportObservedDeath(const Object* object, std::string_view className) noexcept;

}  // namespace tidewell::runtime

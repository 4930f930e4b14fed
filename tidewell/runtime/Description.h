// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Message.h"
#include "tidewell/runtime/Object.h"

namespace tidewell::runtime {

/// An object's own description. Implementing it is optional.
inline constinit const Message<std::string()> kDescription{"description"};
/// Custom equality. A class implements both `kIsEqual` and `kHash`, or neither.
inline constinit const Message<bool(Object*)> kIsEqual{"isEqual:"};
inline constinit const Message<std::uint64_t()> kHash{"hash"};

/// What `%@` prints for an object: the result of its `description` method, otherwise "<Name: 0x…>"; for a
/// class, its name; "(null)" for nil.
[[nodiscard]] TIDEWELL_EXPORT std::string description(const Object* object);
/// "<Name: 0x…>" with the given class name.
[[nodiscard]] TIDEWELL_EXPORT std::string plainDescription(std::string_view className, const Object* object);
/// An address in the format of `%p`: "0x600000c8".
[[nodiscard]] TIDEWELL_EXPORT std::string addressText(const void* address);

/// Receives reports that cannot be returned to a caller, such as an object destroyed while observed. Without
/// a reporter they are dropped.
using Reporter = void (*)(std::string_view text) noexcept;
TIDEWELL_EXPORT void setReporter(Reporter reporter) noexcept;
/// Reports that an object was destroyed while observed.
void reportObservedDeath(const Object* object, std::string_view className) noexcept;

}  // namespace tidewell::runtime

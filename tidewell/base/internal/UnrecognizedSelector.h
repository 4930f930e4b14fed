// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Raises the platform's exception for a message that the receiver's class does not implement.
[[noreturn]] void raiseUnrecognizedSelector(const Value& receiver, std::string_view selector);

}  // namespace tidewell::base

#pragma once

#include <string_view>

#include "tidewell/base/Value.h"

namespace tidewell::base {

/// Raises what the platform raises when an object is sent a message that its class does not know.
[[noreturn]] void raiseUnrecognizedSelector(const Value& receiver, std::string_view selector);

}  // namespace tidewell::base

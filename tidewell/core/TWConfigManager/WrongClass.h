#pragma once

#include <string_view>

#include "tidewell/base/Value.h"

// Internal to the core: not installed.
namespace tidewell {

/// Raises what the platform raises when an object is sent a message that its class does not know.
[[noreturn]] void raiseUnrecognizedSelector(const base::Value& receiver, std::string_view selector);

/// The array that a value is, for a question that sends it `selector`: raises for any other class. nil is the
/// empty array.
[[nodiscard]] const base::Array& arrayOf(const base::Value& value, std::string_view selector);

}  // namespace tidewell

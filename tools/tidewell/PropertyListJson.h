// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Value.h"

namespace tidewell::tool {

/// A property list as a value that JSON can carry without loss: texts, integers, booleans, arrays and
/// dictionaries as they are; any other value as a dictionary with one key:
///
///     {"$real": "0.1"}     {"$date": "1764140400.5"} (seconds since 1970 UTC)     {"$data": "…base64…"}
///
/// A dictionary whose only key is one of these, or "$dictionary", is wrapped: {"$dictionary": {…}}.
[[nodiscard]] base::Value jsonWithPropertyList(const base::Value& list);

/// The reverse. Raises `kInvalidArgumentException` for null, for a number with a fraction, and for a marker
/// with content that it cannot have.
[[nodiscard]] base::Value propertyListWithJson(const base::Value& json);

}  // namespace tidewell::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/Exception.h"
#include "tidewell/base/Value.h"
#include "tidewell/base/formats/Json.h"

namespace tidewell {

/// The value itself if JSON can represent it, null for nil, otherwise its description.
inline base::Value valueForJson(const base::Value& value) {
  if (value.isNil()) return base::Value::null();
  try {
    static_cast<void>(base::dataWithJSONObject(base::Array{value}));
    return value;
  } catch (const base::Exception&) {
    return value.description();
  }
}

}  // namespace tidewell

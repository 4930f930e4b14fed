// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UserDefaults.h"

namespace tidewell::platform {

UserDefaults::~UserDefaults() = default;

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) {
  const base::Value object = objectForKey(key);
  if (object.isString() || object.isNumber()) return object.description();
  return std::nullopt;
}

}  // namespace tidewell::platform

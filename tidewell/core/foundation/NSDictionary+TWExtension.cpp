// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"

#include "tidewell/base/KeyPath.h"

namespace tidewell {
namespace {

base::Value nilForNull(base::Value value) { return value.isNull() ? base::Value() : value; }

}  // namespace

base::Value validObjectForKey(const base::Dictionary& dictionary, std::optional<std::string_view> key) {
  if (!key) return {};
  return nilForNull(dictionary.objectForKey(*key));
}

base::Value validObjectForKeyPath(const base::Dictionary& dictionary,
                                  std::optional<std::string_view> keyPath) {
  if (!keyPath) return {};
  return nilForNull(base::valueForKeyPath(dictionary, *keyPath));
}

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"

#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {

void setObjectNilHandled(base::Dictionary& dictionary, const base::Value& object,
                         std::optional<std::string_view> forKey) {
  if (!forKey) {
    logLine([&] { return base::stringWithFormat("Key can't be nil. Object is %@", {object}); });
    return;
  }
  dictionary.setObject(object.isNil() ? base::Value("") : object, *forKey);
}

void removeValidObjectForKey(base::Dictionary& dictionary, std::optional<std::string_view> key) {
  if (key) dictionary.removeObjectForKey(*key);
}

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/ReplyMerge.h"

#include <new>

#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"

namespace tidewell {

ReplyMerge::ReplyMerge(const base::Dictionary& reply) {
  for (const std::uint8_t row : kMergeOrder) {
    const ConfigField& field = kConfigFields[row];
    try {
      const std::string_view toLog = change.write(field.property, validObjectForKey(reply, field.key));
      if (!toLog.empty()) line = toLog;
    } catch (const std::bad_alloc&) {
      throw;  // not the reply's fault
    } catch (...) {
      stoppedAt = &field;
      exception = std::current_exception();
      break;
    }
  }
  tooLarge = propertiesOutOfBounds(change.fields, change.properties);
  change.properties &= ~tooLarge;
}

}  // namespace tidewell

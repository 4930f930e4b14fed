// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/UnrecognizedSelector.h"

#include <string>

#include "tidewell/base/Exception.h"

namespace tidewell::base {

void raiseUnrecognizedSelector(const Value& receiver, std::string_view selector) {
  std::string reason = "-[" + receiver.className();
  reason.append(" ").append(selector).append("]: unrecognized selector sent to instance");
  raise(kInvalidArgumentException, reason);
}

}  // namespace tidewell::base

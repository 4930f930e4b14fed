// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/Error.h"

namespace tidewell::base {

std::string Error::description() const {
  return "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" + localizedDescription + "\"";
}

}  // namespace tidewell::base

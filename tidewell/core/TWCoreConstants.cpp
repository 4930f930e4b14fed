// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWCoreConstants.h"

namespace tidewell {

const double TidewellCoreVersionNumber = TIDEWELL_VERSION_NUMBER;
const std::string_view TidewellCoreVersionString = TIDEWELL_VERSION_STRING;

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#include "Input.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWConfigManager/Explanation.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"

// Reads a file of origins: each value has an origin, which JSON can represent.

void fuzz::check(std::string_view input) {
  using namespace tidewell;
  static const TWConfig record;
  const base::Dictionary origins = originsOf(record, input);
  fuzz::require(origins.count() == 23);
  static_cast<void>(base::dataWithJSONObject(origins));
  const auto explanation = explanationOf("isGeofenceServiceActive", std::nullopt, record, input);
  fuzz::require(explanation->answer() == Explanation::Answer::yes && explanation->steps().size() == 4);
}

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/Json.h"

#include "Input.h"

using namespace tidewell::base;

// Whatever can be read can be written, and reads back as the same value in either format.
void fuzz::check(std::string_view input) {
  const Value value = JSONObjectWithData(input);
  if (!value) return;
  (void)value.description();
  for (const JsonWriting options : {JsonWriting::compact, JsonWriting::prettyPrinted})
    fuzz::require(JSONObjectWithData(dataWithJSONObject(value, options)) == value);
}

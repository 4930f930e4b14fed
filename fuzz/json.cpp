#include "tidewell/base/formats/Json.h"

#include "Input.h"

using namespace tidewell::base;

// Whatever can be read can be written, and reads back as the same value in either format.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Value value = JSONObjectWithData(fuzz::textOf(data, size));
  if (!value) return 0;
  (void)value.description();
  for (const JsonWriting options : {JsonWriting::compact, JsonWriting::prettyPrinted})
    fuzz::require(JSONObjectWithData(dataWithJSONObject(value, options)) == value);
  return 0;
}

#include "tidewell/base/formats/Json.h"

#include <cstdint>
#include <cstdlib>

using namespace tidewell::base;

/// What is read can be written, and reads back as the same value, whichever way it was written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const Value value = JSONObjectWithData({reinterpret_cast<const char*>(bytes), size});
  if (!value) return 0;
  (void)value.description();
  for (const JsonWriting options : {JsonWriting::compact, JsonWriting::prettyPrinted}) {
    if (JSONObjectWithData(dataWithJSONObject(value, options)) != value) std::abort();
  }
  return 0;
}

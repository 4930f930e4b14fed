#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/PropertyList.h"

using namespace tidewell::base;

// Any bytes give a value or nil; a value is written in both formats and read back as it was.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Value value = propertyListWithData({reinterpret_cast<const char*>(data), size});
  if (value.isNil()) return 0;
  const std::string binary = dataWithPropertyList(value, PropertyListFormat::binary);
  // Compared as bytes, for a number that is none is not equal to itself.
  if (dataWithPropertyList(propertyListWithData(binary), PropertyListFormat::binary) != binary) std::abort();
  std::string xml;
  try {
    xml = dataWithPropertyList(value, PropertyListFormat::xml);
  } catch (const Exception&) {
    return 0;  // control characters, and dates far away
  }
  const Value reread = propertyListWithData(xml);
  // Nil for a dictionary that looks like the reference of an archive.
  if (!reread.isNil() && dataWithPropertyList(reread, PropertyListFormat::xml) != xml) std::abort();
  return 0;
}

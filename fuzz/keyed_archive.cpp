#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/KeyedArchive.h"

using namespace tidewell::base;

// Any bytes decode to a value, or raise; what they decode to is written and read back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  (void)scalarsOfArchivedRecord(bytes, "TWConfig");
  try {
    (void)unarchiveRecord(bytes, "TWConfig", [](KeyedDecoder& decoder) {
      for (const char* key : {"a_s", "b_e", "le_tkn", "b_uid_r"}) (void)decoder.decodeObjectForKey(key);
      (void)decoder.decodeInt64ForKey("e_b_c");
      (void)decoder.decodeBoolForKey("d_t_opt_out");
    });
  } catch (const Exception& exception) {
    if (exception.name() != kInvalidUnarchiveOperationException) std::abort();
  }
  Value value;
  try {
    value = unarchiveObjectWithData(bytes);
  } catch (const Exception& exception) {
    if (exception.name() != kInvalidUnarchiveOperationException) std::abort();
    return 0;
  }
  if (value.isNil()) return 0;
  const std::string once = archivedDataWithRootObject(value);
  // Compared as bytes, for a number that is none is not equal to itself.
  if (archivedDataWithRootObject(unarchiveObjectWithData(once)) != once) std::abort();
  return 0;
}

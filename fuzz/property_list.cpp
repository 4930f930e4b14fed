// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/PropertyList.h"

#include "Input.h"

using namespace tidewell::base;

// Any bytes give a value or nil; a value can be written in both formats and reads back unchanged.
void fuzz::check(std::string_view input) {
  const Value value = propertyListWithData(input);
  if (value.isNil()) return;
  for (const auto format : {PropertyListFormat::binary, PropertyListFormat::xml}) {
    std::string bytes;
    // XML cannot represent control characters and distant dates.
    if (!fuzz::completes(kInvalidArgumentException, [&] { bytes = dataWithPropertyList(value, format); })) {
      fuzz::require(format == PropertyListFormat::xml);
      continue;
    }
    const Value reread = propertyListWithData(bytes);
    // In XML, a dictionary that looks like an archive reference reads back as nil.
    if (reread.isNil() && format == PropertyListFormat::xml) continue;
    fuzz::require(dataWithPropertyList(reread, format) == bytes);  // as bytes: NaN differs from itself
  }
}

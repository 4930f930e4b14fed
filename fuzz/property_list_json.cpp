// SPDX-License-Identifier: Apache-2.0
#include "Input.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tools/tidewell/PropertyListJson.h"

using namespace tidewell::base;

// What `tidewell archive convert` writes as JSON, it reads back as the same property list; other JSON is
// refused.
void fuzz::check(std::string_view bytes) {
  fuzz::completes(kInvalidArgumentException, [&] {
    if (const Value json = JSONObjectWithData(bytes)) {
      const Value list = tidewell::tool::propertyListWithJson(json);
      const Value again = tidewell::tool::jsonWithPropertyList(list);
      fuzz::require(dataWithJSONObject(tidewell::tool::jsonWithPropertyList(
                        tidewell::tool::propertyListWithJson(again))) == dataWithJSONObject(again));
    }
  });
  const Value list = propertyListWithData(bytes);
  if (list.isNil()) return;
  const std::string json = dataWithJSONObject(tidewell::tool::jsonWithPropertyList(list));
  const Value back = tidewell::tool::propertyListWithJson(JSONObjectWithData(json));
  // Compared as bytes, because NaN does not equal itself.
  fuzz::require(dataWithPropertyList(back, PropertyListFormat::binary) ==
                dataWithPropertyList(list, PropertyListFormat::binary));
}

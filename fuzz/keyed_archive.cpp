// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/KeyedArchive.h"

#include "Input.h"

using namespace tidewell::base;

// Any bytes decode to a value or raise; the value can be written and reads back unchanged.
void fuzz::check(std::string_view bytes) {
  (void)scalarsOfArchivedRecord(bytes, "TWConfig");
  fuzz::completes(kInvalidUnarchiveOperationException, [&] {
    (void)unarchiveRecord(bytes, "TWConfig", [](KeyedDecoder& decoder) {
      for (const char* key : {"a_s", "b_e", "le_tkn", "b_uid_r"}) (void)decoder.decodeObjectForKey(key);
      (void)decoder.decodeInt64ForKey("e_b_c");
      (void)decoder.decodeBoolForKey("d_t_opt_out");
    });
  });
  Value value;
  fuzz::completes(kInvalidUnarchiveOperationException, [&] { value = unarchiveObjectWithData(bytes); });
  if (value.isNil()) return;
  const std::string once = archivedDataWithRootObject(value);
  // Compared as bytes, because NaN does not equal itself.
  fuzz::require(archivedDataWithRootObject(unarchiveObjectWithData(once)) == once);
}

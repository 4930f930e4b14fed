// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/KeyedArchive.h"

#include "Input.h"
#include "tidewell/base/formats/PropertyList.h"

using namespace tidewell::base;

// Any bytes decode to a value or raise; the value, and the undecoded contents, can be written and read back
// unchanged.
void fuzz::check(std::string_view bytes) {
  (void)scalarsOfArchivedRecord(bytes, "TWConfig");
  fuzz::completes(kInvalidUnarchiveOperationException, [&] {
    (void)unarchiveRecord(bytes, "TWConfig", [](KeyedDecoder& decoder) {
      for (const char* key : {"a_s", "b_e", "le_tkn", "b_uid_r"}) (void)decoder.decodeObjectForKey(key);
      (void)decoder.decodeInt64ForKey("e_b_c");
      (void)decoder.decodeBoolForKey("d_t_opt_out");
    });
  });
  if (const Value contents = archiveContentsWithData(bytes)) {
    fuzz::completes(kInvalidArgumentException, [&] {
      const std::string written = dataWithArchiveContents(contents, PropertyListFormat::binary);
      fuzz::require(dataWithArchiveContents(archiveContentsWithData(written), PropertyListFormat::binary) ==
                    written);
    });
  }
  Value value;
  fuzz::completes(kInvalidUnarchiveOperationException, [&] { value = unarchiveObjectWithData(bytes); });
  if (value.isNil()) return;
  const std::string once = archivedDataWithRootObject(value);
  // Compared as bytes, because NaN does not equal itself.
  fuzz::require(archivedDataWithRootObject(unarchiveObjectWithData(once)) == once);
}

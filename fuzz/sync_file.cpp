// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/SyncFile.h"

#include "Input.h"

// A record that is read from any bytes is written as a file that gives the same record again.
void fuzz::check(std::string_view bytes) {
  using namespace tidewell;
  const auto record = sync_file::decode(bytes);
  if (!record) return;
  fuzz::require(record->history.size() <= SyncRecord::kLongestHistory);
  const std::string written = sync_file::encode(*record, sync_file::Attempt::ended);
  const auto again = sync_file::decode(written);
  fuzz::require(again && sync_file::encode(*again, sync_file::Attempt::ended) == written);
}

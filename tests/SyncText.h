// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tidewell/core/TWConfigManager/SyncStatus.h"

namespace tidewell {

inline std::string textOf(SyncOutcome outcome) {
  static constexpr const char* kNames[] = {"never tried",    "not due",       "in flight", "synced",
                                           "unusable reply", "merge stopped", "failed"};
  return kNames[static_cast<int>(outcome)];
}

/// The outcome, the last result if it is another, HTTP status, detail, and the error's code.
inline std::string textOf(const SyncStatus& status) {
  std::string text = textOf(status.outcome());
  if (status.lastResult() != status.outcome()) text += ", " + textOf(status.lastResult());
  if (status.httpStatus() != 0) text += " " + std::to_string(status.httpStatus());
  if (!status.detail().empty()) text.append(": ").append(status.detail());
  if (const auto error = status.error()) text += " (" + std::to_string(error->code) + ")";
  return text;
}

}  // namespace tidewell

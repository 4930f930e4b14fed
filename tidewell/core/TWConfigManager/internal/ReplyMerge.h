// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string_view>

#include "tidewell/base/Value.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"

namespace tidewell {

/// The changes that a reply makes to a record.
struct ReplyMerge {
  /// Computes the change. Throws `std::bad_alloc`.
  explicit ReplyMerge(const base::Dictionary& reply);

  /// The new values, up to the key that raised, without those that are too large.
  ConfigChange change;
  /// The properties whose values are too large; they keep their values.
  PropertySet tooLarge = 0;
  /// A line to log; may be empty.
  std::string_view line;
  /// The row whose value raised; null if none did. The rows after it keep their values.
  const ConfigField* stoppedAt = nullptr;
  std::exception_ptr exception;
};

}  // namespace tidewell

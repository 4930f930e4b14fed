// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {

/// A persistent map from keys to property-list values: one domain, either the application's own or a suite
/// shared with its extensions.
///
/// Any thread: implementations lock internally and call no foreign code with a lock held. Raises only where
/// stated.
class TIDEWELL_EXPORT UserDefaults {
 public:
  virtual ~UserDefaults();
  /// nil if the key has no value.
  [[nodiscard]] virtual base::Value objectForKey(std::string_view key) = 0;
  /// nil removes the key. Raises `kInvalidArgumentException`, leaving the domain unchanged, for a value that
  /// a property list cannot hold.
  virtual void setObject(base::Value object, std::string_view forKey) = 0;
  virtual void removeObjectForKey(std::string_view key) = 0;
  /// Writes this process's changes and reads those of other processes; updates of different keys never
  /// overwrite each other. Returns whether the changes reached the disk. A failure is also reported, and the
  /// changes are kept for the next call.
  virtual bool synchronize() = 0;

  /// A string as is, a number as text; no value for any other kind.
  [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key);
};

}  // namespace tidewell::platform

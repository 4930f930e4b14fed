#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {

/// A persistent map from keys to property-list values: one domain, the application's own or a suite shared
/// with its extensions.
///
/// Any thread; an implementation locks for itself and holds no lock over foreign code. Nothing is raised but
/// what is stated.
class TIDEWELL_EXPORT UserDefaults {
 public:
  virtual ~UserDefaults();
  /// nil where nothing is stored.
  [[nodiscard]] virtual base::Value objectForKey(std::string_view key) = 0;
  /// nil removes. Raises `kInvalidArgumentException` for a value that a property list cannot carry; the
  /// domain then stays as it was.
  virtual void setObject(base::Value object, std::string_view forKey) = 0;
  virtual void removeObjectForKey(std::string_view key) = 0;
  /// Writes what this process changed and takes what others wrote to the same domain; no update of another
  /// key is lost. Whether it reached the disk; a failure is also reported, and what was changed is kept for
  /// the next call.
  virtual bool synchronize() = 0;

  /// A string as it is, a number as its text, nothing for any other class.
  [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key);
};

}  // namespace tidewell::platform

#pragma once

#include <optional>
#include <string>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

/// Facts of the machine; nothing where one is not known. Any thread; never raises.
class TIDEWELL_EXPORT Device {
 public:
  virtual ~Device();
  /// The same for all applications of one vendor on this machine, different between vendors: 36 characters,
  /// upper-case.
  [[nodiscard]] virtual std::optional<std::string> identifierForVendor() = 0;
  [[nodiscard]] virtual std::optional<std::string> model() = 0;
  [[nodiscard]] virtual std::optional<std::string> localizedModel() = 0;
  [[nodiscard]] virtual std::optional<std::string> systemVersion() = 0;
  /// The hardware model identifier, as the `machine` field of `uname` holds it on a phone.
  [[nodiscard]] virtual std::string machine() = 0;
};

}  // namespace tidewell::platform

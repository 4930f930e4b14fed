// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

/// Facts about the device; no value for an unknown one. Any thread; never raises.
class TIDEWELL_EXPORT Device {
 public:
  virtual ~Device();
  /// A UUID that is the same for all applications of one vendor on this device and differs between vendors:
  /// 36 characters, upper-case.
  [[nodiscard]] virtual std::optional<std::string> identifierForVendor() = 0;
  [[nodiscard]] virtual std::optional<std::string> model() = 0;
  [[nodiscard]] virtual std::optional<std::string> localizedModel() = 0;
  [[nodiscard]] virtual std::optional<std::string> systemVersion() = 0;
  /// The hardware model identifier, as in the `machine` field of `uname` on a phone.
  [[nodiscard]] virtual std::string machine() = 0;
};

}  // namespace tidewell::platform

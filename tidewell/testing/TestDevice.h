// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Device.h"

namespace tidewell::testing {

/// Device facts set by a test; no value for an unknown one.
class TIDEWELL_EXPORT TestDevice final : public platform::Device {
 public:
  TestDevice();
  ~TestDevice() override;
  [[nodiscard]] std::optional<std::string> identifierForVendor() override;
  [[nodiscard]] std::optional<std::string> model() override;
  [[nodiscard]] std::optional<std::string> localizedModel() override;
  [[nodiscard]] std::optional<std::string> systemVersion() override;
  [[nodiscard]] std::string machine() override;

  // Change these before the platform is in use.
  std::optional<std::string> identifierForVendorValue = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
  std::optional<std::string> modelValue = "iPhone";
  std::optional<std::string> localizedModelValue = "iPhone";
  std::optional<std::string> systemVersionValue = "12.1";
  std::string machineValue = "iPhone10,3";
};

}  // namespace tidewell::testing

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/TestDevice.h"

namespace tidewell::testing {

TestDevice::TestDevice() = default;
TestDevice::~TestDevice() = default;
std::optional<std::string> TestDevice::identifierForVendor() { return identifierForVendorValue; }
std::optional<std::string> TestDevice::model() { return modelValue; }
std::optional<std::string> TestDevice::localizedModel() { return localizedModelValue; }
std::optional<std::string> TestDevice::systemVersion() { return systemVersionValue; }
std::string TestDevice::machine() { return machineValue; }

}  // namespace tidewell::testing

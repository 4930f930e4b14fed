// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace tidewell {

/// The device unique ID: cached in the process, otherwise read from the keychain, otherwise created. No value
/// if none can be created; the next call tries again. Callable from any thread; simultaneous first calls
/// return the same ID.
[[nodiscard]] std::optional<std::string> deviceUniqueID();
/// The ID in the keychain; if there is none, creates one and saves it asynchronously.
[[nodiscard]] std::optional<std::string> deviceUniqueIDFromKeychain();
[[nodiscard]] bool isDeviceUniqueIDInKeychain();

}  // namespace tidewell

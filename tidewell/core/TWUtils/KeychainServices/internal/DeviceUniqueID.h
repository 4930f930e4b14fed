#pragma once

#include <optional>
#include <string>

namespace tidewell {

/// The device unique ID: kept in the process once known, else read from the keychain, else made. No value
/// where none can be made; then the next call tries again. Callable from any thread; two first calls answer
/// the same.
[[nodiscard]] std::optional<std::string> deviceUniqueID();
/// The ID of the keychain; one that is made, and saved later, where the keychain has none.
[[nodiscard]] std::optional<std::string> deviceUniqueIDFromKeychain();
[[nodiscard]] bool isDeviceUniqueIDInKeychain();

}  // namespace tidewell

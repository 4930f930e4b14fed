#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tidewell/desktop/internal/SecretService.h"
#include "tidewell/platform/Keychain.h"

namespace tidewell::desktop {

/// Keychain items in the session's Secret Service, with the headless store (a 0600 file) to fall back on.
///
/// A session may have no keyring, a locked one, or one that dies; an item that is not found then would be
/// made anew, and the device would get another identity. So:
///  - items are written to the keyring, and to the file as well where the keyring cannot be used, or where
///    they have to be readable while it is locked (`kSecAttrAccessibleAfterFirstUnlock`);
///  - they are read from the keyring, and from the file where they are not found there;
///  - nobody is ever asked to unlock anything, and no call waits for the keyring longer than
///    `SecretService::kPatience`.
class SecretKeychain final : public platform::Keychain {
 public:
  /// `file` outlives this.
  SecretKeychain(std::unique_ptr<SecretService> service, platform::Keychain& file);

  std::int32_t itemAdd(const base::Dictionary& attributes) override;
  std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) override;
  std::int32_t itemDelete(const base::Dictionary& query) override;

 private:
  const std::unique_ptr<SecretService> service_;
  platform::Keychain& file_;
};

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tidewell/desktop/internal/SecretService.h"
#include "tidewell/platform/Keychain.h"

namespace tidewell::desktop {

/// Keychain items in the session's Secret Service, with the headless store (a 0600 file) as a fallback.
///
/// A session may have no keyring, a locked one, or one that crashes. An item not found for that reason would
/// be created again, and the device would change its identity. So:
///  - items are written to the keyring, and also to the file if the keyring is unusable or they must be
///    readable while it is locked (`kSecAttrAccessibleAfterFirstUnlock`);
///  - they are read from the file, and from the keyring if not found there, because only the file gets new
///    values while the keyring is unusable;
///  - the file notes which items are deleted meanwhile by service and account; the next operation on such an
///    item that finds the keyring usable deletes it there;
///  - the user is never asked to unlock anything, and no call waits for the keyring longer than
///    `SecretService::kMaximumWait`.
class SecretKeychain final : public platform::Keychain {
 public:
  /// `file` must outlive this object.
  SecretKeychain(std::unique_ptr<SecretService> service, platform::Keychain& file);

  std::int32_t itemAdd(const base::Dictionary& attributes) override;
  std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) override;
  std::int32_t itemDelete(const base::Dictionary& query) override;

 private:
  /// Deletes an item that the keyring still has because it was unusable when the item was deleted.
  void finishRemoval(const SecretService::Attributes& item);

  const std::unique_ptr<SecretService> service_;
  platform::Keychain& file_;
};

}  // namespace tidewell::desktop

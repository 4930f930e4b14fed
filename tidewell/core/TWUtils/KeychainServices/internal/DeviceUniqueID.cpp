// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWUtils/KeychainServices/internal/DeviceUniqueID.h"

#include <atomic>
#include <memory>
#include <utility>

#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/core/TWUtils/KeychainServices/TWKeychain.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"

namespace tidewell {
namespace {

/// This process's device unique ID, once known. Published once and never freed.
constinit std::atomic<const std::string*> tdw_device_unique_id{nullptr};

std::string keychainService() {
  return base::stringWithFormat("%@.%@", {TW_KEYCHAIN_SERVICE, TWCoreUtils::bundleIdentifier()});
}

}  // namespace

std::optional<std::string> deviceUniqueID() {
  if (const std::string* known = tdw_device_unique_id.load(std::memory_order_acquire)) return *known;
  std::optional<std::string> found = deviceUniqueIDFromKeychain();
  if (!found) return std::nullopt;

  // Of simultaneous first calls, all return the ID that was published first.
  auto made = std::make_unique<const std::string>(*std::move(found));
  const std::string* published = nullptr;
  if (tdw_device_unique_id.compare_exchange_strong(published, made.get(), std::memory_order_acq_rel)) {
    published = made.release();
  }
  return *published;
}

std::optional<std::string> deviceUniqueIDFromKeychain() {
  const std::string service = keychainService();
  const base::Value loaded = TWKeychain::load(service);
  if (loaded.isNil()) return TWKeychain::createDeviceUniqueIDForService(service);
  return loaded.optionalString();
}

bool isDeviceUniqueIDInKeychain() { return !TWKeychain::load(keychainService()).isNil(); }

}  // namespace tidewell

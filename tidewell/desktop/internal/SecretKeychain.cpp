// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/SecretKeychain.h"

#include <utility>

namespace tidewell::desktop {
namespace {

using Status = SecretService::Status;

/// The attributes of a query under their names in the keyring. No value for a class other than generic
/// passwords, or attributes that are not strings; the file store refuses these, too.
std::optional<SecretService::Attributes> attributesOf(const base::Dictionary& query) {
  constexpr std::pair<std::string_view, const char*> kNames[] = {
      {platform::kSecAttrService, "service"},
      {platform::kSecAttrAccount, "account"},
      {platform::kSecAttrAccessible, "accessible"}};
  if (query.objectForKey(platform::kSecClass) != base::Value(platform::kSecClassGenericPassword))
    return std::nullopt;
  SecretService::Attributes attributes;
  for (const auto& [name, keyringName] : kNames) {
    const base::Value* const value = query.find(name);
    if (value && (!value->isString() || value->description().find('\0') != std::string::npos))
      return std::nullopt;
    if (value) attributes[keyringName] = value->description();
  }
  return attributes;
}

bool mustBeReadableWhileLocked(const base::Dictionary& attributes) {
  return attributes.objectForKey(platform::kSecAttrAccessible) ==
         base::Value(platform::kSecAttrAccessibleAfterFirstUnlock);
}

/// The attributes that identify the item; a missing one counts as the empty string.
SecretService::Attributes identityOf(const SecretService::Attributes& attributes) {
  const auto of = [&attributes](const char* name) {
    const auto found = attributes.find(name);
    return found == attributes.end() ? std::string() : found->second;
  };
  return {{"service", of("service")}, {"account", of("account")}};
}

/// The file's item for a removal that the keyring has missed.
base::Dictionary removalOf(const SecretService::Attributes& attributes) {
  const SecretService::Attributes item = identityOf(attributes);
  return {{platform::kSecClass, platform::kSecClassGenericPassword},
          {platform::kSecAttrService, "removed: " + item.at("service")},
          {platform::kSecAttrAccount, item.at("account")}};
}

bool wantsData(const base::Dictionary& query) {
  const base::Value* const wanted = query.find(platform::kSecReturnData);
  return wanted && wanted->isNumber() && wanted->boolValue();
}

}  // namespace

SecretKeychain::SecretKeychain(std::unique_ptr<SecretService> service, platform::Keychain& file)
    : service_(std::move(service)), file_(file) {}

std::int32_t SecretKeychain::itemAdd(const base::Dictionary& attributes) {
  auto known = attributesOf(attributes);
  const base::Value data = attributes.objectForKey(platform::kSecValueData);
  if (!known || (data && !data.data())) return platform::errSecParam;
  // A missing attribute counts as the empty string, which is part of the item's identity.
  known->emplace("service", "");
  known->emplace("account", "");

  const SecretService::Attributes primaryKey = identityOf(*known);
  finishRemoval(primaryKey);
  base::Data ignored;
  if (file_.itemCopyMatching({{platform::kSecClass, platform::kSecClassGenericPassword},
                              {platform::kSecAttrService, primaryKey.at("service")},
                              {platform::kSecAttrAccount, primaryKey.at("account")}},
                             ignored) == platform::errSecSuccess) {
    return platform::errSecDuplicateItem;
  }
  std::string alsoIgnored;
  Status status = service_->find(primaryKey, alsoIgnored);
  if (status == Status::done) return platform::errSecDuplicateItem;
  if (status == Status::notFound) {
    const std::string secret = data ? std::string(data.data()->view()) : std::string();
    status = service_->store(*known, known->at("service"), secret);
  }
  if (status == Status::done && !mustBeReadableWhileLocked(attributes)) return platform::errSecSuccess;
  const std::int32_t added = file_.itemAdd(attributes);
  // Success in the keyring counts, whatever happened to the copy in the file.
  return status == Status::done ? platform::errSecSuccess : added;
}

std::int32_t SecretKeychain::itemCopyMatching(const base::Dictionary& query, base::Data& result) {
  const auto wanted = attributesOf(query);
  if (!wanted) return platform::errSecParam;
  finishRemoval(*wanted);
  // The file first: what it has is as new as the keyring's item, or newer.
  const std::int32_t inFile = file_.itemCopyMatching(query, result);
  std::string secret;
  if (inFile == platform::errSecSuccess || service_->find(*wanted, secret) != Status::done) return inFile;
  if (wantsData(query)) result = base::Data(std::move(secret));
  return platform::errSecSuccess;
}

std::int32_t SecretKeychain::itemDelete(const base::Dictionary& query) {
  const auto wanted = attributesOf(query);
  if (!wanted) return platform::errSecParam;
  const Status status = service_->remove(*wanted);
  const bool isOneItem = wanted->count("service") != 0 && wanted->count("account") != 0;
  if (status == Status::unusable && isOneItem) static_cast<void>(file_.itemAdd(removalOf(*wanted)));
  const std::int32_t deleted = file_.itemDelete(query);
  return status == Status::done ? platform::errSecSuccess : deleted;
}

void SecretKeychain::finishRemoval(const SecretService::Attributes& item) {
  const base::Dictionary removal = removalOf(item);
  base::Data ignored;
  if (file_.itemCopyMatching(removal, ignored) != platform::errSecSuccess) return;
  if (service_->remove(identityOf(item)) != Status::unusable) static_cast<void>(file_.itemDelete(removal));
}

}  // namespace tidewell::desktop

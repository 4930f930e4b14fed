// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixKeychain.h"

#include <exception>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/FileLock.h"
#include "tidewell/posix/internal/PropertyListFile.h"

namespace tidewell::posix {
namespace {

constexpr std::string_view kItems = "items";
/// Attributes that queries can match.
constexpr std::string_view kMatched[] = {platform::kSecAttrService, platform::kSecAttrAccount,
                                         platform::kSecAttrAccessible};
constexpr std::string_view kPrimaryKey[] = {platform::kSecAttrService, platform::kSecAttrAccount};

/// Only generic passwords are supported, and attributes must be strings.
bool isValid(const base::Dictionary& query) {
  for (const std::string_view name : kMatched) {
    const base::Value* const value = query.find(name);
    if (value && !value->isString()) return false;
  }
  return query.objectForKey(platform::kSecClass) == base::Value(platform::kSecClassGenericPassword);
}

bool matches(const base::Value& item, const base::Dictionary& query) {
  const base::Dictionary* const attributes = item.dictionary();
  if (!attributes) return false;
  for (const std::string_view name : kMatched) {
    const base::Value* const wanted = query.find(name);
    if (wanted && attributes->objectForKey(name) != *wanted) return false;
  }
  return true;
}

std::vector<base::Value> itemsOf(const base::Dictionary& contents) {
  const base::Value value = contents.objectForKey(kItems);
  return value.array() ? std::vector<base::Value>(value.array()->begin(), value.array()->end())
                       : std::vector<base::Value>();
}

void reportFailure(const std::string& path, std::error_code error) {
  platform::report("The keychain store " + path + " cannot be used: " + error.message());
}

}  // namespace

PosixKeychain::PosixKeychain(Container container)
    : container_(std::move(container)), path_(container_.keychainFile()) {}

template <class Operation>
PosixKeychain::Outcome PosixKeychain::changeFile(Operation operation) {
  if (const auto failure = container_.makeFolder(folderOf(path_))) return {failure};
  const platform::LockResult lock = lockFile(path_);
  if (lock.error && !cannotBeLocked(lock.error)) return {lock.error};
  PropertyListFile file = PropertyListFile::read(path_, FileOwner::user);
  if (file.error) return {file.error};
  Outcome outcome;
  outcome.notice = noticeOfMissingLock(path_, lock.error);
  outcome.wasCorrupt = file.isCorrupt;
  if (file.isCorrupt) outcome.failure = keepAside(path_);
  if (outcome.failure) return outcome;

  std::vector<base::Value> items = itemsOf(file.contents);
  outcome.status = operation(items);
  if (outcome.status != platform::errSecSuccess) return outcome;
  file.contents.setObject(base::Array(std::move(items)), kItems);
  outcome.failure = writePropertyListFile(path_, file.contents);
  return outcome;
}

template <class Operation>
std::int32_t PosixKeychain::change(Operation operation) {
  if (path_.empty()) return platform::errSecNotAvailable;
  Outcome outcome;
  try {
    const base::MutexLock working(file_);
    outcome = changeFile(operation);
  } catch (const std::exception&) {
    return platform::errSecParam;  // text that a property list cannot hold
  }
  if (!outcome.notice.empty()) platform::report(outcome.notice);
  if (outcome.wasCorrupt) {
    platform::report("The keychain store " + path_ + " cannot be understood; it is kept as " + path_ +
                     ".corrupt");
  }
  if (!outcome.failure) return outcome.status;
  reportFailure(path_, outcome.failure);
  return platform::errSecIO;
}

std::int32_t PosixKeychain::itemAdd(const base::Dictionary& attributes) {
  const base::Value data = attributes.objectForKey(platform::kSecValueData);
  if (!isValid(attributes) || (data && !data.data())) return platform::errSecParam;
  // A missing attribute counts as the empty string, also in an item's primary key.
  base::Dictionary item{{platform::kSecAttrService, ""},
                        {platform::kSecAttrAccount, ""},
                        {platform::kSecValueData, data ? data : base::Value(base::Data())}};
  for (const std::string_view name : kMatched) {
    if (const base::Value* const value = attributes.find(name)) item.setObject(*value, name);
  }
  base::Dictionary primaryKey;
  for (const std::string_view name : kPrimaryKey) primaryKey.setObject(item.objectForKey(name), name);

  return change([&](std::vector<base::Value>& items) {
    for (const base::Value& each : items) {
      if (matches(each, primaryKey)) return platform::errSecDuplicateItem;
    }
    items.emplace_back(item);
    return platform::errSecSuccess;
  });
}

std::int32_t PosixKeychain::itemCopyMatching(const base::Dictionary& query, base::Data& result) {
  if (!isValid(query)) return platform::errSecParam;
  if (path_.empty()) return platform::errSecNotAvailable;
  std::error_code failure = container_.checkFolders(path_);
  PropertyListFile file;
  if (!failure) file = PropertyListFile::read(path_, FileOwner::user);
  if (!failure) failure = file.error;
  if (failure) {
    reportFailure(path_, failure);
    return platform::errSecIO;
  }
  for (const base::Value& each : itemsOf(file.contents)) {
    if (!matches(each, query)) continue;
    const base::Value data = each.dictionary()->objectForKey(platform::kSecValueData);
    if (const base::Value* const wanted = query.find(platform::kSecReturnData);
        data.data() && wanted && wanted->isNumber() && wanted->boolValue()) {
      result = *data.data();
    }
    return platform::errSecSuccess;
  }
  return platform::errSecItemNotFound;
}

std::int32_t PosixKeychain::itemDelete(const base::Dictionary& query) {
  if (!isValid(query)) return platform::errSecParam;
  return change([&](std::vector<base::Value>& items) {
    std::vector<base::Value> kept;
    for (const base::Value& each : items) {
      if (!matches(each, query)) kept.push_back(each);
    }
    if (kept.size() == items.size()) return platform::errSecItemNotFound;
    items.swap(kept);
    return platform::errSecSuccess;
  });
}

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/MemoryKeychain.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {
namespace {

struct StoredItem {
  std::string service;
  std::string account;
  base::Data data;
};

/// A query's condition on one of the two identifying attributes.
struct Attribute {
  bool isValid = true;
  std::optional<std::string> text;

  Attribute(const base::Dictionary& query, std::string_view name) {
    const base::Value* const value = query.find(name);
    if (!value) return;
    text = value->optionalString();
    isValid = text.has_value();
  }
  [[nodiscard]] bool matches(const std::string& other) const { return !text || *text == other; }
};

/// A parsed query. Only generic passwords are supported.
struct Query {
  Attribute service;
  Attribute account;
  bool isValid;

  explicit Query(const base::Dictionary& query)
      : service(query, platform::kSecAttrService), account(query, platform::kSecAttrAccount) {
    isValid = service.isValid && account.isValid &&
              query.objectForKey(platform::kSecClass) == base::Value(platform::kSecClassGenericPassword);
  }
  [[nodiscard]] bool matches(const StoredItem& item) const {
    return service.matches(item.service) && account.matches(item.account);
  }
};

}  // namespace

struct MemoryKeychain::State {
  mutable base::Mutex mutex;
  std::vector<StoredItem> items TIDEWELL_GUARDED_BY(mutex);
  std::int32_t status TIDEWELL_GUARDED_BY(mutex) = platform::errSecSuccess;

  /// Why a query fails; `errSecSuccess` if it does not.
  [[nodiscard]] std::int32_t refusal(const Query& query) const TIDEWELL_REQUIRES(mutex) {
    if (status != platform::errSecSuccess) return status;
    return query.isValid ? platform::errSecSuccess : platform::errSecParam;
  }
};

MemoryKeychain::MemoryKeychain() : state_(std::make_unique<State>()) {}
MemoryKeychain::~MemoryKeychain() = default;

std::int32_t MemoryKeychain::itemAdd(const base::Dictionary& attributes) {
  const Query query(attributes);
  const base::Value value = attributes.objectForKey(platform::kSecValueData);
  const base::MutexLock lock(state_->mutex);
  if (const auto refusal = state_->refusal(query)) return refusal;
  if (value && !value.data()) return platform::errSecParam;
  StoredItem item{query.service.text.value_or(""), query.account.text.value_or(""),
                  value ? *value.data() : base::Data()};
  for (const StoredItem& each : state_->items) {
    if (each.service == item.service && each.account == item.account) return platform::errSecDuplicateItem;
  }
  state_->items.push_back(std::move(item));
  return platform::errSecSuccess;
}

std::int32_t MemoryKeychain::itemCopyMatching(const base::Dictionary& query, base::Data& result) {
  const Query wanted(query);
  const base::MutexLock lock(state_->mutex);
  if (const auto refusal = state_->refusal(wanted)) return refusal;
  for (const StoredItem& each : state_->items) {
    if (!wanted.matches(each)) continue;
    result = each.data;
    return platform::errSecSuccess;
  }
  return platform::errSecItemNotFound;
}

std::int32_t MemoryKeychain::itemDelete(const base::Dictionary& query) {
  const Query wanted(query);
  const base::MutexLock lock(state_->mutex);
  if (const auto refusal = state_->refusal(wanted)) return refusal;
  auto& items = state_->items;
  const auto kept = std::remove_if(items.begin(), items.end(),
                                   [&wanted](const StoredItem& each) { return wanted.matches(each); });
  if (kept == items.end()) return platform::errSecItemNotFound;
  items.erase(kept, items.end());
  return platform::errSecSuccess;
}

std::size_t MemoryKeychain::itemCount() const {
  const base::MutexLock lock(state_->mutex);
  return state_->items.size();
}

void MemoryKeychain::setStatus(std::int32_t status) {
  const base::MutexLock lock(state_->mutex);
  state_->status = status;
}

}  // namespace tidewell::testing

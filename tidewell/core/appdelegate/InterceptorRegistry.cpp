// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/appdelegate/InterceptorRegistry.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell {
namespace {

const base::MadeWhenLoaded registryMutexMade(interceptorRegistryMutex);

}  // namespace

base::StateMutex& interceptorRegistryMutex() {
  static base::NeverDestroyed<base::StateMutex> mutex;
  return *mutex;
}

// Removed entries are destroyed after unlocking: destroying a container's last reference may run foreign
// code.

std::shared_ptr<const std::vector<InterceptorRegistry::Entry>> InterceptorRegistry::noteChange() {
  count_.store(entries_.size(), std::memory_order_release);
  version_.fetch_add(1, std::memory_order_acq_rel);
  return std::exchange(walked_, nullptr);
}

std::vector<std::string> InterceptorRegistry::allKeys() const {
  const Snapshot walked = snapshot();
  std::vector<std::string> keys;
  keys.reserve(walked.entries->size());
  for (const Entry& entry : *walked.entries) keys.push_back(entry.id);
  return keys;
}

InterceptorRegistry::Container InterceptorRegistry::objectForKey(std::string_view id) const {
  const std::string key(id);
  const base::MutexLock lock(interceptorRegistryMutex());
  const auto found = entries_.find(key);
  return found == entries_.end() ? nullptr : found->second.container;
}

void InterceptorRegistry::setObject(Container container, std::string_view forKey) {
  if (!container) return;
  std::string key(forKey);
  std::shared_ptr<const std::vector<Entry>> outdated;
  const base::MutexLock lock(interceptorRegistryMutex());
  const auto [place, isNew] = entries_.try_emplace(std::move(key));
  if (isNew) place->second.arrival = arrivals_++;
  place->second.container.swap(container);
  outdated = noteChange();
}

void InterceptorRegistry::removeObjectForKey(std::string_view id) {
  const std::string key(id);
  Entries::node_type removed;
  std::shared_ptr<const std::vector<Entry>> outdated;
  const base::MutexLock lock(interceptorRegistryMutex());
  removed = entries_.extract(key);
  if (!removed.empty()) outdated = noteChange();
}

bool InterceptorRegistry::removeObjectForKey(std::string_view id,
                                             const TWZeroingWeakContainer& whileItHolds) {
  const std::string key(id);
  Entries::node_type removed;
  std::shared_ptr<const std::vector<Entry>> outdated;
  const base::MutexLock lock(interceptorRegistryMutex());
  const auto found = entries_.find(key);
  if (found == entries_.end() || found->second.container.get() != &whileItHolds) return false;
  removed = entries_.extract(found);
  outdated = noteChange();
  return true;
}

void InterceptorRegistry::removeAllObjects() {
  Entries removed;
  std::shared_ptr<const std::vector<Entry>> outdated;
  const base::MutexLock lock(interceptorRegistryMutex());
  if (entries_.empty()) return;
  removed.swap(entries_);
  outdated = noteChange();
}

InterceptorRegistry::Snapshot InterceptorRegistry::snapshot() const {
  const base::MutexLock lock(interceptorRegistryMutex());
  if (!walked_) {
    std::vector<std::pair<std::uint64_t, Entry>> ordered;
    ordered.reserve(entries_.size());
    for (const auto& [id, kept] : entries_) ordered.emplace_back(kept.arrival, Entry{id, kept.container});
    std::sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    auto entries = std::make_shared<std::vector<Entry>>();
    entries->reserve(ordered.size());
    for (auto& [arrival, entry] : ordered) entries->push_back(std::move(entry));
    walked_ = std::move(entries);
  }
  return {walked_, version_.load(std::memory_order_relaxed)};
}

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/ThreadAnnotations.h"
#include "tidewell/core/appdelegate/TWZeroingWeakContainer.h"

namespace tidewell::base {
class StateMutex;
}

namespace tidewell {

/// Guards all registries: a process has one, tests have more. Internal.
[[nodiscard]] base::StateMutex& interceptorRegistryMutex();

/// The interceptors of the application's delegate: maps interceptor IDs to containers that hold the
/// interceptors weakly.
///
/// Hosts use the one of `TWAppDelegateSwizzler::interceptors`, by reference, so that it may grow; its structs
/// are complete. Any thread; calls no foreign code with its lock held. Changes do not affect iteration over a
/// snapshot.
class TIDEWELL_EXPORT InterceptorRegistry final {
 public:
  using Container = std::shared_ptr<TWZeroingWeakContainer>;
  struct Entry {
    std::string id;
    Container container;
  };
  /// The entries at one moment, in the order in which their IDs were added. An entry may be outdated if the
  /// registry's version differs from the snapshot's.
  struct Snapshot {
    std::shared_ptr<const std::vector<Entry>> entries;
    std::uint64_t version = 0;
  };

  InterceptorRegistry() = default;
  InterceptorRegistry(const InterceptorRegistry&) = delete;
  InterceptorRegistry& operator=(const InterceptorRegistry&) = delete;

  [[nodiscard]] std::size_t count() const noexcept { return count_.load(std::memory_order_acquire); }
  [[nodiscard]] std::vector<std::string> allKeys() const;
  /// Null if there is none.
  [[nodiscard]] Container objectForKey(std::string_view id) const;
  /// Adds or replaces an entry. Ignores a null container.
  void setObject(Container container, std::string_view forKey);
  void removeObjectForKey(std::string_view id);
  /// Removes the entry only if it still holds this container; returns whether it did.
  bool removeObjectForKey(std::string_view id, const TWZeroingWeakContainer& whileItHolds);
  void removeAllObjects();

  /// Shared by all callers between two changes, so that iterating copies nothing.
  [[nodiscard]] Snapshot snapshot() const;
  /// Differs after each change.
  [[nodiscard]] std::uint64_t version() const noexcept { return version_.load(std::memory_order_acquire); }

 private:
  struct Kept {
    Container container;
    std::uint64_t arrival;  ///< orders the entries
  };
  using Entries = std::unordered_map<std::string, Kept>;

  /// To be called after a change. The caller must destroy the result after unlocking.
  [[nodiscard]] std::shared_ptr<const std::vector<Entry>> noteChange()
      TIDEWELL_REQUIRES(interceptorRegistryMutex());

  Entries entries_ TIDEWELL_GUARDED_BY(interceptorRegistryMutex());
  std::uint64_t arrivals_ TIDEWELL_GUARDED_BY(interceptorRegistryMutex()) = 0;
  mutable std::shared_ptr<const std::vector<Entry>> walked_
      TIDEWELL_GUARDED_BY(interceptorRegistryMutex());  ///< null until requested after a change
  std::atomic<std::size_t> count_{0};
  std::atomic<std::uint64_t> version_{0};
};

}  // namespace tidewell

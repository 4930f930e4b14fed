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
#include "tidewell/core/appdelegate/TWZeroingWeakContainer.h"

namespace tidewell {

/// The interceptors of the application's delegate: a dictionary from interceptor ID to the container that
/// holds the interceptor weakly.
///
/// Any thread; no foreign code runs under its lock. Changes do not disturb a walk over a snapshot.
class TIDEWELL_EXPORT InterceptorRegistry final {
 public:
  using Container = std::shared_ptr<TWZeroingWeakContainer>;
  struct Entry {
    std::string id;
    Container container;
  };
  /// The entries at one moment, in the order in which their IDs came in. Says nothing any more about an entry
  /// once the registry's version is another.
  struct Snapshot {
    std::shared_ptr<const std::vector<Entry>> entries;
    std::uint64_t version = 0;
  };

  InterceptorRegistry() = default;
  InterceptorRegistry(const InterceptorRegistry&) = delete;
  InterceptorRegistry& operator=(const InterceptorRegistry&) = delete;

  [[nodiscard]] std::size_t count() const noexcept { return count_.load(std::memory_order_acquire); }
  [[nodiscard]] std::vector<std::string> allKeys() const;
  /// Null where there is none.
  [[nodiscard]] Container objectForKey(std::string_view id) const;
  /// Replaces what is there. Nothing happens for a null container.
  void setObject(Container container, std::string_view forKey);
  void removeObjectForKey(std::string_view id);
  /// Removes the entry only where it still holds this container: whether it did.
  bool removeObjectForKey(std::string_view id, const TWZeroingWeakContainer& whileItHolds);
  void removeAllObjects();

  /// Shared by all who ask between two changes, so that a walk copies nothing.
  [[nodiscard]] Snapshot snapshot() const;
  /// Another number after each change.
  [[nodiscard]] std::uint64_t version() const noexcept { return version_.load(std::memory_order_acquire); }

 private:
  struct Kept {
    Container container;
    std::uint64_t arrival;  ///< orders the entries
  };
  using Entries = std::unordered_map<std::string, Kept>;

  /// Under the lock, once something has changed. What it answers is to be let go of without the lock.
  [[nodiscard]] std::shared_ptr<const std::vector<Entry>> noteChange();

  Entries entries_;
  std::uint64_t arrivals_ = 0;
  mutable std::shared_ptr<const std::vector<Entry>> walked_;  ///< null until asked for after a change
  std::atomic<std::size_t> count_{0};
  std::atomic<std::uint64_t> version_{0};
};

}  // namespace tidewell

#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Selector.h"

namespace tidewell::runtime {

class Method;

/// What lookups on one class answered: selector to method, null for a selector that it does not respond to.
/// Open addressing with linear probing.
///
/// Any thread reads without a lock; writers hold the registry's lock. Tables that were replaced are kept,
/// because a reader may still walk one: their number is bounded by the changes of the class, not by the
/// sends.
class TIDEWELL_EXPORT MethodCache {
 public:
  struct Answer {
    bool isKnown;
    const Method* method;
  };

  MethodCache() noexcept;
  ~MethodCache();
  MethodCache(const MethodCache&) = delete;
  MethodCache& operator=(const MethodCache&) = delete;

  [[nodiscard]] Answer find(Selector selector) const noexcept {
    const Table& table = *table_.load(std::memory_order_acquire);
    for (std::size_t index = selector.hash();; ++index) {
      const Slot& slot = table.slots[index & table.mask];
      const SelectorRecord* const key = slot.selector.load(std::memory_order_acquire);
      if (key == selector.record()) return {true, slot.method.load(std::memory_order_relaxed)};
      if (!key) return {false, nullptr};
    }
  }
  /// For a selector that is not in it.
  void insert(Selector selector, const Method* method);
  /// Forgets every answer.
  void clear();

 private:
  struct Slot {
    std::atomic<const SelectorRecord*> selector{nullptr};
    std::atomic<const Method*> method{nullptr};
  };
  struct Table {
    std::size_t mask;
    Slot* slots;
    std::size_t used;
    Table* replaced;  ///< the one that was in force before
  };

  static Table& emptyTable() noexcept;
  void replaceTable(std::size_t size);
  static void put(Table& table, Selector selector, const Method* method) noexcept;

  std::atomic<Table*> table_;
};

}  // namespace tidewell::runtime

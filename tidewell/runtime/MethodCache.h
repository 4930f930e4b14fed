// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Method.h"
#include "tidewell/runtime/Selector.h"

namespace tidewell::runtime {

/// Caches a class's lookups: selector to method, or null for a selector to which it does not respond.
///
/// The first answers are stored inline, at an index that depends only on the selector, so that a send needs
/// no more memory accesses than a virtual call: a send to objects of changing classes takes 1.27 times a
/// virtual call, and 1.83 times without them. Collisions go to a hash table with open addressing and linear
/// probing.
///
/// Reads are lock-free on any thread; writers hold the registry's lock. Memory that a reader may be using is
/// never reused: the slot of a dropped answer stays empty, and replaced tables are kept. Their number is
/// bounded by the number of changes to the class, not by the number of sends.
class TIDEWELL_EXPORT MethodCache {
 public:
  /// A method, with copies of the members that a call needs, which saves one memory access. All null for a
  /// selector without a method. Lives as long as the cache.
  struct Answer {
    const Method* method = nullptr;
    AnyFunction function = nullptr;
    const Signature* signature = nullptr;
  };

  /// The answer for an empty selector.
  static const Answer kNoMethod;

  MethodCache();
  ~MethodCache();
  MethodCache(const MethodCache&) = delete;
  MethodCache& operator=(const MethodCache&) = delete;

  /// Null if the selector is not cached. The selector must not be empty, here and in `insert`.
  [[nodiscard]] const Answer* find(Selector selector) const noexcept {
    const Slot& first = first_[selector.hash() % first_.size()];
    // Each load of a selector pairs with the store in `put`: the answer is visible.
    if (first.selector.load(std::memory_order_acquire) == selector.record()) [[likely]]
      return &first.answer;
    // Pairs with the store in `replaceTable`: the slots are constructed.
    const Table& table = *table_.load(std::memory_order_acquire);
    for (std::size_t index = selector.hash();; ++index) {
      const Slot& slot = table.slots()[index & table.mask];
      const SelectorRecord* const key = slot.selector.load(std::memory_order_acquire);
      if (key == selector.record()) return &slot.answer;
      if (!key) return nullptr;
    }
  }
  /// The selector must not be cached yet.
  const Answer& insert(Selector selector, const Method* method);
  /// Drops all answers. Allocates nothing, so that a class that has changed never keeps a stale answer.
  void clear() noexcept;

 private:
  /// Written once: the answer first, then the selector, by which readers find it.
  struct Slot {
    std::atomic<const SelectorRecord*> selector{nullptr};
    Answer answer;
  };
  /// Followed in memory by its slots.
  struct Table {
    std::size_t mask;
    std::size_t used;
    Table* replaced;  ///< the previous table

    [[nodiscard]] Slot* slots() noexcept { return reinterpret_cast<Slot*>(this + 1); }
    [[nodiscard]] const Slot* slots() const noexcept { return reinterpret_cast<const Slot*>(this + 1); }
  };
  static_assert(sizeof(Table) % alignof(Slot) == 0);

  static Table& emptyTable();
  static void forget(Slot& slot) noexcept;
  void replaceTable(std::size_t size);
  static Table* makeTable(std::size_t size, Table* replaced);
  static const Answer& put(Slot& slot, Selector selector, const Method* method) noexcept;

  std::array<Slot, 8> first_;
  std::atomic<Table*> table_;
};

}  // namespace tidewell::runtime

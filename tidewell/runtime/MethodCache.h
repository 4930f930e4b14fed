#pragma once

#include <array>
#include <atomic>
#include <cstddef>

#include "tidewell/base/Export.h"
#include "tidewell/runtime/Method.h"
#include "tidewell/runtime/Selector.h"

namespace tidewell::runtime {

/// What lookups on one class answered: selector to method, null for a selector that it does not respond to.
///
/// The first answers lie in the class itself, at a place that depends on the selector alone, so that a send
/// waits for no more memory than a virtual call. What finds its place taken goes to a table: open addressing
/// with linear probing.
///
/// Any thread reads without a lock; writers hold the registry's lock. Nothing that a reader may be looking at
/// is written again: a place whose answer was forgotten stays empty, and tables that were replaced are kept.
/// Their number is bounded by the changes of the class, not by the sends.
class TIDEWELL_EXPORT MethodCache {
 public:
  /// A method, and what a call needs of it: read here, a call waits for one memory access less. Null
  /// throughout for a selector without method. Stays for ever, as the tables do.
  struct Answer {
    const Method* method = nullptr;
    AnyFunction function = nullptr;
    const Signature* signature = nullptr;
  };

  /// The answer for no selector.
  static const Answer kNoMethod;

  MethodCache();
  ~MethodCache();
  MethodCache(const MethodCache&) = delete;
  MethodCache& operator=(const MethodCache&) = delete;

  /// Null for a selector that was not asked for yet. The selector names a method, here and in `insert`.
  [[nodiscard]] const Answer* find(Selector selector) const noexcept {
    const Slot& first = first_[selector.hash() % first_.size()];
    if (first.selector.load(std::memory_order_acquire) == selector.record()) [[likely]]
      return &first.answer;
    const Table& table = *table_.load(std::memory_order_acquire);
    for (std::size_t index = selector.hash();; ++index) {
      const Slot& slot = table.slots()[index & table.mask];
      const SelectorRecord* const key = slot.selector.load(std::memory_order_acquire);
      if (key == selector.record()) return &slot.answer;
      if (!key) return nullptr;
    }
  }
  /// For a selector that is not in it.
  const Answer& insert(Selector selector, const Method* method);
  /// Forgets every answer. Needs no memory: a class that was changed never keeps an old answer.
  void clear() noexcept;

 private:
  /// Written once: what it holds first, then its selector, with which readers find it.
  struct Slot {
    std::atomic<const SelectorRecord*> selector{nullptr};
    Answer answer;
  };
  /// Its slots follow it in memory.
  struct Table {
    std::size_t mask;
    std::size_t used;
    Table* replaced;  ///< the one that was in force before

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

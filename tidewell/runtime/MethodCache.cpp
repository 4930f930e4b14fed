#include "tidewell/runtime/MethodCache.h"

namespace tidewell::runtime {
namespace {

constexpr std::size_t kFirstSize = 8;

}  // namespace

MethodCache::Table& MethodCache::emptyTable() noexcept {
  static Slot noSlot;
  static Table table{0, &noSlot, 0, nullptr};
  return table;
}

MethodCache::MethodCache() noexcept : table_(&emptyTable()) {}

MethodCache::~MethodCache() {
  Table* table = table_.load(std::memory_order_acquire);
  while (table != &emptyTable() && table) {
    Table* const replaced = table->replaced;
    delete[] table->slots;
    delete table;
    table = replaced;
  }
}

void MethodCache::put(Table& table, Selector selector, const Method* method) noexcept {
  std::size_t index = selector.hash() & table.mask;
  while (table.slots[index].selector.load(std::memory_order_relaxed)) index = (index + 1) & table.mask;
  // A reader that sees the selector must see its method.
  table.slots[index].method.store(method, std::memory_order_relaxed);
  table.slots[index].selector.store(selector.record(), std::memory_order_release);
  ++table.used;
}

void MethodCache::replaceTable(std::size_t size) {
  auto slots = std::make_unique<Slot[]>(size);
  Table* const old = table_.load(std::memory_order_relaxed);
  table_.store(new Table{size - 1, slots.get(), 0, old}, std::memory_order_release);
  slots.release();
}

void MethodCache::clear() {
  if (table_.load(std::memory_order_relaxed)->used > 0) replaceTable(kFirstSize);
}

void MethodCache::insert(Selector selector, const Method* method) {
  Table* table = table_.load(std::memory_order_relaxed);
  // A quarter stays free, so that a walk for a selector that is not there ends soon.
  if (4 * (table->used + 1) > 3 * (table->mask + 1)) {
    // What it knew is asked for again: simpler than copying, and a class answers few selectors.
    const std::size_t size = 2 * (table->mask + 1);
    replaceTable(size < kFirstSize ? kFirstSize : size);
    table = table_.load(std::memory_order_relaxed);
  }
  put(*table, selector, method);
}

}  // namespace tidewell::runtime

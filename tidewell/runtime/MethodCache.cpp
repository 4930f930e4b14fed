#include "tidewell/runtime/MethodCache.h"

#include <new>

namespace tidewell::runtime {
namespace {

constexpr std::size_t kFirstSize = 8;

}  // namespace

MethodCache::Table* MethodCache::makeTable(std::size_t size, Table* replaced) {
  void* const memory = ::operator new(sizeof(Table) + size * sizeof(Slot));
  Table* const table = ::new (memory) Table{size - 1, 0, replaced};
  for (std::size_t i = 0; i < size; ++i) ::new (table->slots() + i) Slot;
  return table;
}

MethodCache::Table& MethodCache::emptyTable() {
  static Table& table = *makeTable(1, nullptr);
  return table;
}

MethodCache::MethodCache() : table_(&emptyTable()) {}

MethodCache::~MethodCache() {
  Table* table = table_.load(std::memory_order_acquire);
  while (table != &emptyTable()) {
    Table* const replaced = table->replaced;
    ::operator delete(table);  // slots and table have nothing to destroy
    table = replaced;
  }
}

const MethodCache::Answer& MethodCache::put(Table& table, Selector selector, const Method* method) noexcept {
  std::size_t index = selector.hash() & table.mask;
  while (table.slots()[index].selector.load(std::memory_order_relaxed)) index = (index + 1) & table.mask;
  Slot& slot = table.slots()[index];
  if (method) slot.answer = {method, method->function(), &method->signature()};
  slot.selector.store(selector.record(), std::memory_order_release);
  ++table.used;
  return slot.answer;
}

void MethodCache::replaceTable(std::size_t size) {
  table_.store(makeTable(size, table_.load(std::memory_order_relaxed)), std::memory_order_release);
}

void MethodCache::clear() {
  if (table_.load(std::memory_order_relaxed)->used > 0) replaceTable(kFirstSize);
}

const MethodCache::Answer& MethodCache::insert(Selector selector, const Method* method) {
  Table* table = table_.load(std::memory_order_relaxed);
  // A quarter stays free, so that a walk for a selector that is not there ends soon.
  if (4 * (table->used + 1) > 3 * (table->mask + 1)) {
    // What it knew is asked for again: simpler than copying, and a class answers few selectors.
    const std::size_t size = 2 * (table->mask + 1);
    replaceTable(size < kFirstSize ? kFirstSize : size);
    table = table_.load(std::memory_order_relaxed);
  }
  return put(*table, selector, method);
}

}  // namespace tidewell::runtime

#include "tidewell/runtime/MethodCache.h"

#include <new>

namespace tidewell::runtime {
namespace {

constexpr std::size_t kFirstSize = 8;

/// Marks a place whose answer was forgotten. No selector has this record.
const SelectorRecord kForgotten;

}  // namespace

constinit const MethodCache::Answer MethodCache::kNoMethod{};

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

const MethodCache::Answer& MethodCache::put(Slot& slot, Selector selector, const Method* method) noexcept {
  if (method) slot.answer = {method, method->function(), &method->signature()};
  slot.selector.store(selector.record(), std::memory_order_release);
  return slot.answer;
}

void MethodCache::replaceTable(std::size_t size) {
  table_.store(makeTable(size, table_.load(std::memory_order_relaxed)), std::memory_order_release);
}

void MethodCache::clear() {
  for (Slot& slot : first_) {
    if (slot.selector.load(std::memory_order_relaxed))
      slot.selector.store(&kForgotten, std::memory_order_release);
  }
  if (table_.load(std::memory_order_relaxed)->used > 0) replaceTable(kFirstSize);
}

const MethodCache::Answer& MethodCache::insert(Selector selector, const Method* method) {
  Slot& first = first_[selector.hash() % first_.size()];
  if (!first.selector.load(std::memory_order_relaxed)) return put(first, selector, method);

  Table* table = table_.load(std::memory_order_relaxed);
  // A quarter stays free, so that a walk for a selector that is not there ends soon.
  if (4 * (table->used + 1) > 3 * (table->mask + 1)) {
    // What it knew is asked for again: simpler than copying, and a class answers few selectors.
    const std::size_t size = 2 * (table->mask + 1);
    replaceTable(size < kFirstSize ? kFirstSize : size);
    table = table_.load(std::memory_order_relaxed);
  }
  std::size_t index = selector.hash() & table->mask;
  while (table->slots()[index].selector.load(std::memory_order_relaxed)) index = (index + 1) & table->mask;
  ++table->used;
  return put(table->slots()[index], selector, method);
}

}  // namespace tidewell::runtime

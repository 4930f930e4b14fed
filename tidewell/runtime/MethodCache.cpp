// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/MethodCache.h"

#include <algorithm>
#include <new>

namespace tidewell::runtime {
namespace {

constexpr std::size_t kFirstSize = 8;

/// Marks the slot of a dropped answer. No selector has this record.
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
  static Table& table = *makeTable(1, nullptr);  // created with the registry, while the library is loaded
  return table;
}

MethodCache::MethodCache() : table_(&emptyTable()) {}

MethodCache::~MethodCache() {
  Table* table = table_.load(std::memory_order_acquire);
  while (table != &emptyTable()) {
    Table* const replaced = table->replaced;
    ::operator delete(table);  // slots and table have trivial destructors
    table = replaced;
  }
}

const MethodCache::Answer& MethodCache::put(Slot& slot, Selector selector, const Method* method) noexcept {
  if (method) slot.answer = {method, method->function(), &method->signature()};
  // After the answer, for `find`.
  slot.selector.store(selector.record(), std::memory_order_release);
  return slot.answer;
}

void MethodCache::replaceTable(std::size_t size) {
  table_.store(makeTable(size, table_.load(std::memory_order_relaxed)), std::memory_order_release);
}

void MethodCache::forget(Slot& slot) noexcept {
  // Relaxed loads, here and below: all writers hold the registry's lock.
  if (slot.selector.load(std::memory_order_relaxed))
    slot.selector.store(&kForgotten, std::memory_order_release);
}

void MethodCache::clear() noexcept {
  for (Slot& slot : first_) forget(slot);
  Table& table = *table_.load(std::memory_order_relaxed);
  for (std::size_t i = 0; i <= table.mask; ++i) forget(table.slots()[i]);
}

const MethodCache::Answer& MethodCache::insert(Selector selector, const Method* method) {
  Slot& first = first_[selector.hash() % first_.size()];
  if (!first.selector.load(std::memory_order_relaxed)) return put(first, selector, method);

  Table* table = table_.load(std::memory_order_relaxed);
  // At least a quarter stays free, so that a failing search ends quickly.
  if (4 * (table->used + 1) > 3 * (table->mask + 1)) {
    // The new table starts empty: simpler than copying, and a class receives few different selectors.
    const std::size_t size = table->mask + 1;
    const auto known = std::count_if(table->slots(), table->slots() + size, [](const Slot& slot) {
      const SelectorRecord* const key = slot.selector.load(std::memory_order_relaxed);
      return key && key != &kForgotten;
    });
    const bool grows = 2 * static_cast<std::size_t>(known) > size;
    replaceTable(std::max(kFirstSize, grows ? 2 * size : size));
    table = table_.load(std::memory_order_relaxed);
  }
  std::size_t index = selector.hash() & table->mask;
  while (table->slots()[index].selector.load(std::memory_order_relaxed)) index = (index + 1) & table->mask;
  ++table->used;
  return put(table->slots()[index], selector, method);
}

}  // namespace tidewell::runtime

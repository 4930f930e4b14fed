// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Selector.h"

#include <memory>
#include <mutex>
#include <unordered_map>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::runtime {
namespace {

struct SelectorTable {
  base::StateMutex mutex;
  /// The keys are views of the records' names.
  std::unordered_map<std::string_view, std::unique_ptr<const SelectorRecord>> records
      TIDEWELL_GUARDED_BY(mutex);
};

SelectorTable& selectorTable() {
  static base::NeverDestroyed<SelectorTable> table;
  return *table;
}

const base::MadeWhenLoaded selectorTableMade(selectorTable);

}  // namespace

Selector Selector::named(std::string_view name) {
  SelectorTable& known = selectorTable();
  const base::MutexLock lock(known.mutex);
  const auto found = known.records.find(name);
  if (found != known.records.end()) return Selector(found->second.get());
  // Method caches use the low bits; consecutive numbers spread better than any hash of the name.
  auto record = std::make_unique<SelectorRecord>(SelectorRecord{std::string(name), known.records.size()});
  const SelectorRecord* const made = record.get();
  known.records.emplace(made->name, std::move(record));
  return Selector(made);
}

}  // namespace tidewell::runtime

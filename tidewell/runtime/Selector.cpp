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
  std::unordered_map<std::string_view, std::unique_ptr<const SelectorRecord>>
      records;  // keys lie in the records
};

SelectorTable& selectorTable() {
  static base::NeverDestroyed<SelectorTable> table;
  return *table;
}

const base::MadeWhenLoaded selectorTableMade(selectorTable);

}  // namespace

Selector Selector::named(std::string_view name) {
  SelectorTable& known = selectorTable();
  const std::lock_guard lock(known.mutex);
  const auto found = known.records.find(name);
  if (found != known.records.end()) return Selector(found->second.get());
  // Method caches take the low bits; consecutive numbers spread better there than any hash of the text.
  auto record = std::make_unique<SelectorRecord>(SelectorRecord{std::string(name), known.records.size()});
  const SelectorRecord* const made = record.get();
  known.records.emplace(made->name, std::move(record));
  return Selector(made);
}

}  // namespace tidewell::runtime

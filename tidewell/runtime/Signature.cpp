// SPDX-License-Identifier: Apache-2.0
#include "tidewell/runtime/Signature.h"

#include <memory>
#include <mutex>
#include <unordered_map>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/runtime/internal/Registry.h"

namespace tidewell::runtime {
namespace {

/// All interned types and signatures, by key. Never destroyed.
struct TypeTable {
  base::StateMutex mutex;
  std::unordered_map<std::string, std::unique_ptr<const TypeInfo>> types TIDEWELL_GUARDED_BY(mutex);
  std::unordered_map<std::string, std::unique_ptr<const Signature>> signatures TIDEWELL_GUARDED_BY(mutex);
};

TypeTable& typeTable() {
  static base::NeverDestroyed<TypeTable> table;
  return *table;
}

const base::MadeWhenLoaded typeTableMade(typeTable);

/// The entry for a key, created if it does not exist. Keeps the module that contains `function` loaded; does
/// that first, with no lock held, because a thread that holds the loader's lock may wait for this table.
template <class Entry>
const Entry& interned(std::unordered_map<std::string, std::unique_ptr<const Entry>> TypeTable::*entries,
                      std::string key, Entry recipe, AnyFunction function) {
  TypeTable& known = typeTable();
  {
    const base::MutexLock lock(known.mutex);
    const auto found = (known.*entries).find(key);
    if (found != (known.*entries).end()) return *found->second;
  }
  if (function) base::keepLoaded(reinterpret_cast<const void*>(function));
  const base::MutexLock lock(known.mutex);
  // The entry is created before the key is inserted: an allocation failure must not leave a key without an
  // entry.
  auto made = std::make_unique<const Entry>(std::move(recipe));
  return *(known.*entries).try_emplace(std::move(key), std::move(made)).first->second;
}

}  // namespace

const TypeInfo& internType(TypeInfo recipe) {
  // Different modules may define different types with the same name; only a difference in size is detectable.
  std::string key = recipe.text + "/" + std::to_string(recipe.size);
  const auto function = reinterpret_cast<AnyFunction>(recipe.copy);
  return interned(&TypeTable::types, std::move(key), std::move(recipe), function);
}

const Signature& internSignature(Signature recipe) {
  recipe.text = recipe.result->text + "@:";
  recipe.encoding = recipe.result->encoding + "@:";
  std::string key = std::to_string(recipe.result->size) + recipe.text;
  for (const TypeInfo* argument : recipe.arguments) {
    recipe.text += argument->text;
    recipe.encoding += argument->encoding;
    key += argument->text + "/" + std::to_string(argument->size);
  }
  const auto function = reinterpret_cast<AnyFunction>(recipe.invoke);
  return interned(&TypeTable::signatures, std::move(key), std::move(recipe), function);
}

}  // namespace tidewell::runtime

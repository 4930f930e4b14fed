#include "tidewell/runtime/Signature.h"

#include <memory>
#include <mutex>
#include <unordered_map>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/runtime/internal/Registry.h"

namespace tidewell::runtime {
namespace {

/// The types and signatures of the process, by what tells them apart. Never destroyed.
struct TypeTable {
  base::StateMutex mutex;
  std::unordered_map<std::string, std::unique_ptr<const TypeInfo>> types;
  std::unordered_map<std::string, std::unique_ptr<const Signature>> signatures;
};

TypeTable& typeTable() {
  static base::NeverDestroyed<TypeTable> table;
  return *table;
}

const base::MadeWhenLoaded typeTableMade(typeTable);

/// The entry of a key, made where there is none. The module that `function` lies in is kept loaded first,
/// with no lock held: the loader's lock may belong to a thread that waits for this table.
template <class Entry>
const Entry& interned(std::unordered_map<std::string, std::unique_ptr<const Entry>> TypeTable::*entries,
                      std::string key, Entry recipe, AnyFunction function) {
  TypeTable& known = typeTable();
  {
    const std::scoped_lock lock(known.mutex);
    const auto found = (known.*entries).find(key);
    if (found != (known.*entries).end()) return *found->second;
  }
  if (function) keepModuleLoaded(function);
  const std::scoped_lock lock(known.mutex);
  // The entry is made first: a key without one would be found.
  auto made = std::make_unique<const Entry>(std::move(recipe));
  return *(known.*entries).try_emplace(std::move(key), std::move(made)).first->second;
}

}  // namespace

const TypeInfo& internType(TypeInfo recipe) {
  // Two modules may have different types of one name; that they differ in size is all that can be seen.
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

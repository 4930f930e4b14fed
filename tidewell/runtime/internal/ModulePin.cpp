#include <dlfcn.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <vector>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/runtime/internal/Registry.h"

namespace tidewell::runtime {
namespace {

struct KeptModules {
  base::StateMutex mutex;
  std::vector<void*> bases;
};

KeptModules& keptModules() {
  static base::NeverDestroyed<KeptModules> kept;
  return *kept;
}

const base::MadeWhenLoaded keptModulesMade(keptModules);

}  // namespace

void keepModuleLoaded(AnyFunction function) {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(function), &info) || !info.dli_fname) return;

  KeptModules& kept = keptModules();
  {
    const std::scoped_lock lock(kept.mutex);
    if (std::find(kept.bases.begin(), kept.bases.end(), info.dli_fbase) != kept.bases.end()) return;
    try {
      kept.bases.push_back(info.dli_fbase);
    } catch (const std::bad_alloc&) {  // kept below all the same, and once more at the next call
    }
  }
  if (!base::canLoadLibraries()) return;
  // The program itself is not found under its name; it stays anyway. The handle is kept on purpose.
  dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace tidewell::runtime

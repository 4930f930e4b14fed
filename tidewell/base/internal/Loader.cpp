// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Loader.h"

#include <dlfcn.h>
#if defined(__linux__)
#include <link.h>
#endif

#include <algorithm>
#include <atomic>
#include <new>
#include <vector>

#include "tidewell/base/internal/CodeAddress.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::base {
namespace {

constinit std::atomic<bool> isBroken{false};
constinit std::atomic<int> modulesBeingLoaded{0};
constinit std::atomic<LoadFailureHandler> failureHandler{nullptr};

class LoaderWatch final : public ForkParticipant {
 public:
  LoaderWatch() { join(); }
  ~LoaderWatch() override { leave(); }

  void afterForkInChild() noexcept override {
    // The loader marks its lists as consistent when a library has been added, before that is relocated. In
    // the child, the relocation would never be finished.
    if (!isLoaderConsistent() || modulesBeingLoaded.load(std::memory_order_relaxed) > 0) {
      isBroken.store(true, std::memory_order_relaxed);
    }
  }
};

/// A library, plug-in or program as the loader knows it.
struct Module {
  const void* base = nullptr;
  const char* path = nullptr;  ///< null or "" for the program
};

Module moduleOf(const void* code) noexcept {
#if defined(DLFO_STRUCT_HAS_EH_DBASE)
  // Unlike `dladdr`, takes no lock and does not search the module's symbols, of which there may be thousands.
  dl_find_object found{};
  if (_dl_find_object(const_cast<void*>(code), &found) != 0 || found.dlfo_link_map == nullptr) return {};
  return {found.dlfo_map_start, found.dlfo_link_map->l_name};
#else
  Dl_info info{};
  return dladdr(code, &info) != 0 ? Module{info.dli_fbase, info.dli_fname} : Module();
#endif
}

struct KeptModules {
  StateMutex mutex;
  std::vector<const void*> addresses TIDEWELL_GUARDED_BY(mutex);
};

KeptModules& keptModules() {
  static NeverDestroyed<KeptModules> modules;
  return *modules;
}

NeverDestroyed<LoaderWatch> watch;
const MadeWhenLoaded keptModulesMade(keptModules);

}  // namespace

bool canLoadLibraries() noexcept { return !isBroken.load(std::memory_order_relaxed); }

void* loadModule(const char* path) noexcept {
  // Acquire and release: a child in whose memory the loader's work is half done sees the count, too.
  modulesBeingLoaded.fetch_add(1, std::memory_order_acquire);
  void* const module = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  modulesBeingLoaded.fetch_sub(1, std::memory_order_release);
  return module;
}

void keepLoaded(const void* code) noexcept {
  if (!canLoadLibraries()) return;
  const Module module = moduleOf(code);
  if (module.path == nullptr || *module.path == '\0') return;
  {
    KeptModules& kept = keptModules();
    const MutexLock lock(kept.mutex);
    if (std::find(kept.addresses.begin(), kept.addresses.end(), module.base) != kept.addresses.end()) return;
    try {
      kept.addresses.push_back(module.base);
    } catch (const std::bad_alloc&) {  // still kept below, and again on the next call
    }
  }
  // `dlopen` does not find the program itself by name, but that is never unloaded anyway. The handle is
  // leaked on purpose.
  dlopen(module.path, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

void setLoadFailureHandler(LoadFailureHandler handler) noexcept {
  failureHandler.store(handler, std::memory_order_release);
}

void reportLoadFailure(std::string_view text) noexcept {
  if (const LoadFailureHandler handler = failureHandler.load(std::memory_order_acquire)) handler(text);
}

}  // namespace tidewell::base

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Loader.h"

#include <dlfcn.h>
#if __has_include(<link.h>)
#include <link.h>
#endif

#include <algorithm>
#include <atomic>
#include <new>
#include <vector>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::base {
namespace {

constinit std::atomic<bool> isBroken{false};
constinit std::atomic<LoadFailureHandler> failureHandler{nullptr};

class LoaderWatch final : public ForkParticipant {
 public:
  LoaderWatch() { join(); }
  ~LoaderWatch() override { leave(); }

  void afterForkInChild() noexcept override {
#if defined(__GLIBC__)
    if (_r_debug.r_state != r_debug::RT_CONSISTENT) isBroken.store(true, std::memory_order_relaxed);
#endif
  }
};

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

void keepLoaded(const void* code) noexcept {
  Dl_info info{};
  if (!canLoadLibraries() || dladdr(code, &info) == 0 || !info.dli_fname) return;
  {
    KeptModules& kept = keptModules();
    const MutexLock lock(kept.mutex);
    if (std::find(kept.addresses.begin(), kept.addresses.end(), info.dli_fbase) != kept.addresses.end())
      return;
    try {
      kept.addresses.push_back(info.dli_fbase);
    } catch (const std::bad_alloc&) {  // still kept below, and again on the next call
    }
  }
  // `dlopen` does not find the program itself by name, but that is never unloaded anyway. The handle is
  // leaked on purpose.
  dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

void setLoadFailureHandler(LoadFailureHandler handler) noexcept {
  failureHandler.store(handler, std::memory_order_release);
}

void reportLoadFailure(std::string_view text) noexcept {
  if (const LoadFailureHandler handler = failureHandler.load(std::memory_order_acquire)) handler(text);
}

}  // namespace tidewell::base

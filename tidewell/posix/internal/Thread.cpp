#include "tidewell/posix/internal/Thread.h"

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "tidewell/base/internal/Loader.h"

namespace tidewell::posix {
namespace {

/// What the original platform gives its secondary threads: completions of a host that work there work here.
constexpr std::size_t kStackBytes = 512u << 10;

struct Start {
  const char* name;
  std::function<void()> run;
};

void* runStart(void* argument) {
  const std::unique_ptr<Start> start(static_cast<Start*>(argument));
#if defined(__linux__)
  pthread_setname_np(pthread_self(), start->name);
#endif
  start->run();
  return nullptr;
}

/// A plug-in may be closed while its thread runs; unmapped code would take the host down.
void keepLibraryLoaded() {
  // No function-local static: the child of a fork might wait for ever for the thread that was making it.
  static constinit std::atomic<bool> isKept{false};
  if (isKept.load(std::memory_order_relaxed)) return;
  keepLoaded(reinterpret_cast<const void*>(&runStart));
  isKept.store(true, std::memory_order_relaxed);
}

/// Attributes of a detached thread; without the small stack where it does not suffice (the stack also holds
/// the thread-local variables of every library of the process).
bool create(bool smallStack, Start* start) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  if (smallStack) pthread_attr_setstacksize(&attributes, kStackBytes);
  pthread_t thread{};
  const bool created = pthread_create(&thread, &attributes, runStart, start) == 0;
  pthread_attr_destroy(&attributes);
  return created;
}

}  // namespace

bool keepLoaded(const void* code) noexcept {
  if (!base::canLoadLibraries()) return false;
  Dl_info info{};
  if (dladdr(code, &info) == 0 || info.dli_fname == nullptr) return false;
  return dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}

bool startThread(const char* name, std::function<void()> run) noexcept {
  try {
    keepLibraryLoaded();
    auto start = std::make_unique<Start>(Start{name, std::move(run)});
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);  // inherited by the new thread
    const bool created = create(true, start.get()) || create(false, start.get());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (created) static_cast<void>(start.release());
    return created;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace tidewell::posix

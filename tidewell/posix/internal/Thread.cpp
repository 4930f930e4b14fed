// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/Thread.h"

#include <pthread.h>

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "tidewell/base/internal/AllSignalsBlocked.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/posix/internal/ThreadName.h"

namespace tidewell::posix {
namespace {

/// The stack size of the original platform's secondary threads, so that a host's completions work here, too.
constexpr std::size_t kStackBytes = 512u << 10;

struct Start {
  const char* name;
  std::function<void()> run;
};

void* runStart(void* argument) {
  const std::unique_ptr<Start> start(static_cast<Start*>(argument));
  nameThisThread(start->name);
  start->run();
  return nullptr;
}

enum class Stack { small, systemDefault };

bool createDetached(Stack stack, Start* start) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  if (stack == Stack::small) pthread_attr_setstacksize(&attributes, kStackBytes);
  pthread_t thread{};
  const bool created = pthread_create(&thread, &attributes, runStart, start) == 0;
  pthread_attr_destroy(&attributes);
  return created;
}

}  // namespace

bool startThread(const char* name, std::function<void()> run) noexcept {
  try {
    // A plug-in may be closed while its thread runs.
    base::keepLoaded(reinterpret_cast<const void*>(&runStart));
    auto start = std::make_unique<Start>(Start{name, std::move(run)});
    const base::AllSignalsBlocked blocked;
    // A small stack can be too small, because it also contains the thread-local variables of all libraries.
    const bool created =
        createDetached(Stack::small, start.get()) || createDetached(Stack::systemDefault, start.get());
    if (created) static_cast<void>(start.release());
    return created;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace tidewell::posix

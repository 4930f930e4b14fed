// SPDX-License-Identifier: Apache-2.0
#include "tidewell/c/internal/HostContext.h"

#include <unistd.h>

#include <cstdlib>
#include <new>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::c {

/// The contexts that were not freed yet.
class ContextList final {
 public:
  void add(HostContext& context) {
    const base::MutexLock lock(mutex_);
    context.number_ = ++last_;
    context.next_ = first_;
    if (first_ != nullptr) first_->previous_ = &context;
    first_ = &context;
  }
  /// Does nothing for a context that is not on the list.
  void remove(HostContext& context) noexcept {
    const base::MutexLock lock(mutex_);
    if (first_ != &context && context.previous_ == nullptr) return;
    (context.previous_ != nullptr ? context.previous_->next_ : first_) = context.next_;
    if (context.next_ != nullptr) context.next_->previous_ = context.previous_;
    context.next_ = context.previous_ = nullptr;
    removed_.native().notify_all();
  }
  /// A context that was not ended; null if there is none.
  [[nodiscard]] std::shared_ptr<HostContext> oneInUse() noexcept {
    const base::MutexLock lock(mutex_);
    for (HostContext* each = first_; each != nullptr; each = each->next_) {
      if (each->isEnded()) continue;
      // Without owners, its destructor is running and will end it.
      if (std::shared_ptr<HostContext> context = each->weak_from_this().lock()) return context;
    }
    return nullptr;
  }
  [[nodiscard]] std::uint64_t last() noexcept {
    const base::MutexLock lock(mutex_);
    return last_;
  }
  /// Waits until no context of this process with a number up to `last` is on the list.
  void waitUntilRemoved(std::uint64_t last) noexcept {
    base::ReleasableMutexLock lock(mutex_);
    lock.wait(removed_.native(), [&]() TIDEWELL_NO_THREAD_SAFETY_ANALYSIS {
      for (const HostContext* each = first_; each != nullptr; each = each->next_) {
        if (each->number_ <= last && each->process_ == getpid()) return false;
      }
      return true;
    });
  }

 private:
  base::StateMutex mutex_;
  base::StateCondition removed_;
  HostContext* first_ TIDEWELL_GUARDED_BY(mutex_) = nullptr;
  std::uint64_t last_ TIDEWELL_GUARDED_BY(mutex_) = 0;
};

namespace {

base::NeverDestroyed<ContextList> contexts;

constinit std::atomic<bool> isExiting{false};
/// How many functions of the host the thread is inside of.
constinit thread_local int depth = 0;

void endAtExit() {
  isExiting = true;
  HostContext::endAll();
}

/// Registered with the first context, so that whatever the host had constructed by then still exists.
void endContextsAtExit() {
  static constinit std::atomic<bool> isRegistered{false};
  if (!isRegistered.exchange(true) && (std::atexit(endAtExit) != 0 || std::at_quick_exit(endAtExit) != 0)) {
    isRegistered = false;
    throw std::bad_alloc();
  }
}

}  // namespace

std::shared_ptr<HostContext> HostContext::adopt(void* context, tdw_free_context freeContext) {
  std::shared_ptr<HostContext> adopted;
  try {
    endContextsAtExit();
    adopted = std::make_shared<HostContext>(context, freeContext);
  } catch (const std::bad_alloc&) {
    if (freeContext != nullptr) freeContext(context);
    throw;
  }
  contexts->add(*adopted);
  require(!isExiting, TDW_UNAVAILABLE);
  return adopted;
}

HostContext::HostContext(void* context, tdw_free_context freeContext)
    : context_(context), freeContext_(freeContext), process_(getpid()) {}

HostContext::~HostContext() {
  end();
  contexts->remove(*this);  // in the child of a fork a call of the parent may have kept it
}

bool HostContext::enter() noexcept {
  std::uint32_t uses = uses_.load(std::memory_order_relaxed);
  while ((uses & kEnded) == 0) {
    if (uses_.compare_exchange_weak(uses, uses + 1, std::memory_order_acq_rel)) {
      ++depth;
      return true;
    }
  }
  return false;
}

HostContext::Use::~Use() {
  if (!isAllowed) return;
  --depth;
  // The last use after the end frees.
  if (context.uses_.fetch_sub(1, std::memory_order_acq_rel) == (kEnded | 1)) context.free();
}

void HostContext::end() noexcept {
  if (uses_.fetch_or(kEnded, std::memory_order_acq_rel) == 0) free();
}

void HostContext::callFree() const noexcept {
  if (freeContext_ == nullptr || process_ != getpid()) return;
  const base::CancellationShield shield;
  ++depth;
  try {
    freeContext_(context_);
  } catch (...) {
    static_cast<void>(statusOfCaughtException());
  }
  --depth;
}

void HostContext::free() noexcept {
  callFree();
  contexts->remove(*this);
}

void HostContext::endAll() noexcept {
  while (const std::shared_ptr<HostContext> context = contexts->oneInUse()) context->end();
}

void HostContext::endAllAndWait() noexcept {
  const std::uint64_t last = contexts->last();
  endAll();
  if (depth == 0) contexts->waitUntilRemoved(last);
}

}  // namespace tidewell::c

extern "C" void tdw_end_callbacks() {
  const tidewell::base::CancellationShield shield;
  tidewell::c::HostContext::endAllAndWait();
}

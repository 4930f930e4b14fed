// SPDX-License-Identifier: Apache-2.0
#include "tidewell/c/internal/HostContext.h"

#include <unistd.h>

#include <cstdlib>
#include <new>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::c {

/// The contexts of this process that were not freed yet.
class ContextList final {
 public:
  void add(HostContext& context) {
    const base::MutexLock lock(mutex_);
    context.next_ = first_;
    if (first_ != nullptr) first_->previous_ = &context;
    first_ = &context;
  }
  void remove(HostContext& context) noexcept {
    const base::MutexLock lock(mutex_);
    unlink(context);
  }
  /// Takes one context off the list that has owners; null if there is none.
  [[nodiscard]] std::shared_ptr<HostContext> takeOne() noexcept {
    const base::MutexLock lock(mutex_);
    while (first_ != nullptr) {
      // Without owners, its destructor is running and will free it.
      const std::shared_ptr<HostContext> context = first_->weak_from_this().lock();
      unlink(*first_);
      if (context) return context;
    }
    return nullptr;
  }

 private:
  void unlink(HostContext& context) noexcept TIDEWELL_REQUIRES(mutex_) {
    if (first_ != &context && context.previous_ == nullptr) return;  // not on the list
    (context.previous_ != nullptr ? context.previous_->next_ : first_) = context.next_;
    if (context.next_ != nullptr) context.next_->previous_ = context.previous_;
    context.next_ = context.previous_ = nullptr;
  }

  base::StateMutex mutex_;
  HostContext* first_ TIDEWELL_GUARDED_BY(mutex_) = nullptr;
};

namespace {

base::NeverDestroyed<ContextList> contexts;

constinit std::atomic<bool> isExiting{false};

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
  contexts->remove(*this);
  end();
}

bool HostContext::enter() noexcept {
  std::uint32_t uses = uses_.load(std::memory_order_relaxed);
  while ((uses & kEnded) == 0) {
    if (uses_.compare_exchange_weak(uses, uses + 1, std::memory_order_acq_rel)) return true;
  }
  return false;
}

HostContext::Use::~Use() {
  // The last use after the end frees.
  if (isAllowed && context.uses_.fetch_sub(1, std::memory_order_acq_rel) == (kEnded | 1)) context.free();
}

void HostContext::end() noexcept {
  if (uses_.fetch_or(kEnded, std::memory_order_acq_rel) == 0) free();
}

void HostContext::free() noexcept {
  if (freeContext_ == nullptr || process_ != getpid()) return;
  const base::CancellationShield shield;
  try {
    freeContext_(context_);
  } catch (...) {
    static_cast<void>(statusOfCaughtException());
  }
}

void HostContext::endAll() noexcept {
  while (const std::shared_ptr<HostContext> context = contexts->takeOne()) context->end();
}

}  // namespace tidewell::c

extern "C" void tdw_end_callbacks() {
  const tidewell::base::CancellationShield shield;
  tidewell::c::HostContext::endAll();
}

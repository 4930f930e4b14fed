// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/c/internal/Boundary.h"

namespace tidewell::c {

/// The context of a callback of the host. Calls `free_context` exactly once: when its last owner is gone, or
/// in `end`, whichever comes first; if a call is running then, after it. Not in the child of a fork.
///
/// Any thread. `free_context` is called with no lock held.
class HostContext final : public std::enable_shared_from_this<HostContext> {
 public:
  /// Takes over the context: if this throws, it has been freed. Refuses (`TDW_UNAVAILABLE`) while the process
  /// exits.
  [[nodiscard]] static std::shared_ptr<HostContext> adopt(void* context, tdw_free_context freeContext);
  HostContext(void* context, tdw_free_context freeContext);
  ~HostContext();
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;

  /// Calls `call(context)`, unless `end` was called. Returns whether it did.
  template <class Call>
  bool use(Call&& call) {
    const base::CancellationShield shield;  // a cancelled thread would leave the use open
    const Use use(*this);
    if (use.isAllowed) std::forward<Call>(call)(context_);
    return use.isAllowed;
  }
  /// Ends all use: the functions are not called any more, and the context is freed.
  void end() noexcept;
  /// Ends every context of this process.
  static void endAll() noexcept;
  /// The same, and waits until they are freed, also by other threads; does not wait inside a function of the
  /// host, which might wait for itself.
  static void endAllAndWait() noexcept;

 private:
  friend class ContextList;
  struct Use {
    explicit Use(HostContext& used) noexcept : context(used), isAllowed(used.enter()) {}
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    HostContext& context;
    const bool isAllowed;
  };
  [[nodiscard]] bool isEnded() const noexcept {
    return (uses_.load(std::memory_order_relaxed) & kEnded) != 0;
  }
  [[nodiscard]] bool enter() noexcept;
  void callFree() const noexcept;
  void free() noexcept;

  static constexpr std::uint32_t kEnded = 1u << 31;
  std::atomic<std::uint32_t> uses_{0};  ///< the calls that are running, and `kEnded`
  void* const context_;
  const tdw_free_context freeContext_;
  const pid_t process_;
  HostContext* next_ = nullptr;  ///< guarded by the list of contexts, as are the next two
  HostContext* previous_ = nullptr;
  std::uint64_t number_ = 0;
};

/// A function of the host with its context. Copies share the context.
template <class Function>
class Callback {
 public:
  Callback(Function function, std::shared_ptr<HostContext> context)
      : function_(function), context_(std::move(context)) {}

  explicit operator bool() const noexcept { return function_ != nullptr; }
  template <class... Arguments>
  void operator()(Arguments... arguments) const {
    if (function_ == nullptr) return;
    context_->use([&](void* context) { function_(context, arguments...); });
  }

 private:
  Function function_;
  std::shared_ptr<HostContext> context_;
};

/// Runs `body` with the context of a callback, as `statusOf`. The context is freed before this returns
/// another status than `TDW_OK`.
template <class Body>
tdw_status statusWithContext(void* context, tdw_free_context freeContext, Body&& body) noexcept {
  return statusOf([&] {
    const std::shared_ptr<HostContext> adopted = HostContext::adopt(context, freeContext);
    const tdw_status status = statusOf([&] { return body(adopted); });
    if (status != TDW_OK) adopted->end();
    return status;
  });
}
/// The same for a function that must not be null: `body` gets the `Callback`.
template <class Function, class Body>
tdw_status statusWithCallback(Function function, void* context, tdw_free_context freeContext,
                              Body&& body) noexcept {
  return statusWithContext(context, freeContext, [&](const std::shared_ptr<HostContext>& adopted) {
    require(function != nullptr);
    return body(Callback<Function>(function, adopted));
  });
}

}  // namespace tidewell::c

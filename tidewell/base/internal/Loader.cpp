#include "tidewell/base/internal/Loader.h"

#if __has_include(<link.h>)
#include <link.h>
#endif

#include <atomic>

#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::base {
namespace {

constinit std::atomic<bool> isBroken{false};

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

NeverDestroyed<LoaderWatch> watch;

}  // namespace

bool canLoadLibraries() noexcept { return !isBroken.load(std::memory_order_relaxed); }

}  // namespace tidewell::base

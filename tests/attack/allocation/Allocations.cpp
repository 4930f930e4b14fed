#include "attack/allocation/Allocations.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

extern "C" {
void* __libc_malloc(std::size_t) noexcept;
void* __libc_calloc(std::size_t, std::size_t) noexcept;
void* __libc_realloc(void*, std::size_t) noexcept;
void* __libc_memalign(std::size_t, std::size_t) noexcept;
void __libc_free(void*) noexcept;
}

namespace tidewell::torture {
namespace {

/// Stacks that agree in so many frames count as one.
constexpr std::size_t kComparedFrames = 10;

constinit std::atomic<bool> isArmed{false};
constinit std::atomic<std::size_t> allocations{0};
constinit std::size_t firstFailure = 0;
constinit std::size_t failures = 0;
constinit std::uint64_t* notedStacks = nullptr;
constinit void* failedStack[Allocations::kMaximumFrames];
constinit std::size_t failedFrames = 0;
constinit thread_local int exemptions = 0;

/// Not a fault of their callers: the C library ends the process where it has no memory for a variable of a
/// thread, ICU crashes where several allocations of `RegexPattern` fail, and OpenSSL and GnuTLS keep what
/// failed, crash, or let libcurl turn in a circle.
bool isExempt(void* const* frames, std::size_t count) {
  return std::any_of(frames, frames + std::min<std::size_t>(count, 12), [](void* frame) {
    Dl_info info{};
    if (dladdr(frame, &info) == 0) return false;
    const std::string_view file = info.dli_fname == nullptr ? "" : info.dli_fname;
    const std::string_view name = info.dli_sname == nullptr ? "" : info.dli_sname;
    for (const std::string_view library : {"libssl", "libcrypto", "libgnutls"}) {
      if (file.find(library) != file.npos) return true;
    }
    return name == "__tls_get_addr" || name.find("12RegexPattern") != name.npos ||
           name.starts_with("uregex_open");
  });
}

/// 0 for one that does not fail.
std::uint64_t hashOfStack() {
  void* frames[Allocations::kMaximumFrames];
  const auto count = static_cast<std::size_t>(backtrace(frames, 12));
  if (isExempt(frames, count)) return 0;
  std::uint64_t hash = 14695981039346656037u;
  for (std::size_t i = 0; i < std::min(count, kComparedFrames); ++i) {
    hash = (hash ^ reinterpret_cast<std::uintptr_t>(frames[i])) * 1099511628211u;
  }
  return hash;
}

/// Whether the allocation that is asked for now fails.
bool fails() {
  if (!isArmed.load(std::memory_order_relaxed) || exemptions > 0) return false;
  const std::size_t number = allocations.fetch_add(1) + 1;
  const bool isDue = number >= firstFailure && number - firstFailure < failures;
  if (notedStacks == nullptr && !isDue) return false;
  const Allocations::Exempt exempt;
  if (notedStacks != nullptr) {
    if (number <= Allocations::kMaximumNoted) notedStacks[number - 1] = hashOfStack();
    return false;
  }
  void* frames[Allocations::kMaximumFrames];
  const auto count = static_cast<std::size_t>(backtrace(frames, Allocations::kMaximumFrames));
  if (isExempt(frames, count)) return false;
  if (number == firstFailure) {
    std::copy_n(frames, count, failedStack);
    failedFrames = count;
  }
  errno = ENOMEM;
  return true;
}

}  // namespace

void Allocations::arm(std::size_t first, std::size_t number, std::uint64_t* stacks) {
  firstFailure = first;
  failures = number;
  notedStacks = first == 0 ? stacks : nullptr;
  isArmed = true;
}

void Allocations::disarm() { isArmed = false; }
std::size_t Allocations::count() { return allocations; }

void Allocations::writeFailedStack(int descriptor) { writeStack(descriptor, failedStack, failedFrames); }

void Allocations::writeStack(int descriptor, void* const* frames, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    Dl_info info{};
    link_map* module = nullptr;
    void* const call = static_cast<char*>(frames[i]) - 1;
    if (dladdr1(call, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0) continue;
    dprintf(descriptor, "%s 0x%tx\n", info.dli_fname,
            static_cast<char*>(call) - reinterpret_cast<char*>(module->l_addr));
  }
}

Allocations::Exempt::Exempt() { ++exemptions; }
Allocations::Exempt::~Exempt() { --exemptions; }

}  // namespace tidewell::torture

#define TORTURE_EXPORT __attribute__((visibility("default")))
using tidewell::torture::fails;

extern "C" {

TORTURE_EXPORT void* malloc(std::size_t size) noexcept { return fails() ? nullptr : __libc_malloc(size); }
TORTURE_EXPORT void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_calloc(count, size);
}
TORTURE_EXPORT void* realloc(void* old, std::size_t size) noexcept {
  return size != 0 && fails() ? nullptr : __libc_realloc(old, size);
}
TORTURE_EXPORT void free(void* memory) noexcept { __libc_free(memory); }
TORTURE_EXPORT void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}
TORTURE_EXPORT void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return memalign(alignment, size);
}
/// The SDK's threads block all signals; a crash on one of them is to reach the handler that explains it.
TORTURE_EXPORT int pthread_sigmask(int how, const sigset_t* set, sigset_t* old) noexcept {
  sigset_t without;
  if (set != nullptr) {
    without = *set;
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigdelset(&without, signal);
  }
  return sigprocmask(how, set == nullptr ? nullptr : &without, old) == 0 ? 0 : errno;
}
TORTURE_EXPORT int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
  void* const made = memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *memory = made;
  return 0;
}

}  // extern "C"

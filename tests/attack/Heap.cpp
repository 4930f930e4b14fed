// SPDX-License-Identifier: Apache-2.0
#include "attack/Heap.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

using namespace tidewell::attack;

namespace {

bool fails() {
  const auto decide = allocationFails.load(std::memory_order_relaxed);
  if (decide == nullptr || !decide()) return false;
  errno = ENOMEM;
  return true;
}
void* counted(void* block) {
  if (block != nullptr) heldBytes += static_cast<std::int64_t>(malloc_usable_size(block));
  peakBytes = std::max(peakBytes, heldBytes);
  return block;
}
void uncount(void* block) {
  if (block != nullptr) heldBytes -= static_cast<std::int64_t>(malloc_usable_size(block));
}

}  // namespace

#define EXPORT __attribute__((visibility("default")))

extern "C" {

void* __libc_malloc(std::size_t) noexcept;
void* __libc_calloc(std::size_t, std::size_t) noexcept;
void* __libc_realloc(void*, std::size_t) noexcept;
void* __libc_memalign(std::size_t, std::size_t) noexcept;
void __libc_free(void*) noexcept;

EXPORT void* malloc(std::size_t size) noexcept { return fails() ? nullptr : counted(__libc_malloc(size)); }
EXPORT void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails() ? nullptr : counted(__libc_calloc(count, size));
}
EXPORT void* realloc(void* old, std::size_t size) noexcept {
  if (size != 0 && fails()) return nullptr;
  uncount(old);
  void* const moved = __libc_realloc(old, size);
  counted(moved == nullptr && size != 0 ? old : moved);
  return moved;
}
EXPORT void free(void* block) noexcept {
  uncount(block);
  __libc_free(block);
}
EXPORT void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return fails() ? nullptr : counted(__libc_memalign(alignment, size));
}
EXPORT void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return memalign(alignment, size);
}
EXPORT int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  *block = memalign(alignment, size);
  return *block != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

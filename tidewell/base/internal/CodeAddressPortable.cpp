// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>

#include "tidewell/base/internal/CodeAddress.h"

namespace tidewell::base {

std::optional<CodeAddress> describeCode(std::uintptr_t address) noexcept {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(address), &info) == 0 || info.dli_fname == nullptr) return std::nullopt;
  return CodeAddress{info.dli_fname, address - reinterpret_cast<std::uintptr_t>(info.dli_fbase),
                     info.dli_sname, address - reinterpret_cast<std::uintptr_t>(info.dli_saddr)};
}

bool isLoaderConsistent() noexcept { return true; }  // unknown

}  // namespace tidewell::base

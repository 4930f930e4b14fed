// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <link.h>

#include "tidewell/base/internal/CodeAddress.h"

namespace tidewell::base {

std::optional<CodeAddress> describeCode(std::uintptr_t address) noexcept {
  Dl_info info{};
  link_map* module = nullptr;
  // Unlike `dli_fbase`, the link map is also right for a program with fixed addresses.
  if (dladdr1(reinterpret_cast<void*>(address), &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) ==
          0 ||
      info.dli_fname == nullptr) {
    return std::nullopt;
  }
  return CodeAddress{info.dli_fname, address - (module ? static_cast<std::uintptr_t>(module->l_addr) : 0),
                     info.dli_sname, address - reinterpret_cast<std::uintptr_t>(info.dli_saddr)};
}

bool isLoaderConsistent() noexcept { return _r_debug.r_state == r_debug::RT_CONSISTENT; }

}  // namespace tidewell::base

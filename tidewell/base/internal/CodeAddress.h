// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

namespace tidewell::base {

/// What the dynamic loader knows about an address of code. The texts belong to the module and live as long.
struct CodeAddress {
  const char* file;             ///< of the module
  std::uintptr_t moduleOffset;  ///< the address in the module's file, as `addr2line` expects it
  const char* symbol;           ///< the exported function; null if unknown
  std::uintptr_t symbolOffset;  ///< in that function
};

/// No value if the address belongs to no module. Takes the loader's lock.
[[nodiscard]] std::optional<CodeAddress> describeCode(std::uintptr_t address) noexcept;

/// Whether the loader is between two changes. In a forked child, false if another thread of the parent was
/// loading a library.
[[nodiscard]] bool isLoaderConsistent() noexcept;

}  // namespace tidewell::base

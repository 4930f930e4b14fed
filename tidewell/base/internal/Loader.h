// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Whether `dlopen` may be called. Permanently false in the child of a fork that happened while another
/// thread was loading a library: the loader's lists are inconsistent there, and using them ends the process.
/// Any thread.
[[nodiscard]] TIDEWELL_EXPORT bool canLoadLibraries() noexcept;

/// Loads a module of this library, for good. Returns null on failure, with the reason in `dlerror`. Any
/// thread; call it only if `canLoadLibraries`.
TIDEWELL_EXPORT void* loadModule(const char* path) noexcept;

/// Keeps the library or plug-in that contains `code` loaded until the process ends. Cheap if already done.
/// Does nothing if `canLoadLibraries` is false. Any thread.
TIDEWELL_EXPORT void keepLoaded(const void* code) noexcept;

/// Receives a sentence when a module of this library cannot be loaded: what does not work, and why. Any
/// thread, with no lock held.
using LoadFailureHandler = void (*)(std::string_view text) noexcept;
void setLoadFailureHandler(LoadFailureHandler handler) noexcept;
void reportLoadFailure(std::string_view text) noexcept;

}  // namespace tidewell::base

#pragma once

#include "tidewell/base/Export.h"

namespace tidewell::base {

/// Whether `dlopen` may be called. false for good in the child of a fork that happened while another thread
/// was loading a library: the loader's lists are half changed there, and it ends the process. Any thread.
[[nodiscard]] TIDEWELL_EXPORT bool canLoadLibraries() noexcept;

/// Keeps the library or plug-in that contains some code loaded for the rest of the process. Cheap when it is
/// kept already. Does nothing when `canLoadLibraries` is false. Any thread.
TIDEWELL_EXPORT void keepLoaded(const void* code) noexcept;

}  // namespace tidewell::base

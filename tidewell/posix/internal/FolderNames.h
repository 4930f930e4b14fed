// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <system_error>

#include "tidewell/posix/internal/Descriptor.h"

namespace tidewell::posix {

/// Calls `visit` with each name in a newly opened folder, except "." and "..", and closes the folder. Returns
/// the error that ended the listing early, after the names before it; no error at the end. Any thread.
[[nodiscard]] std::error_code forEachName(Descriptor folder, const std::function<void(const char*)>& visit);

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/base/internal/Fork.h"

namespace tidewell::platform {

/// Guards the links between view controllers, windows and the application, and the weak references to their
/// delegates. One lock for all, because a link joins two objects. Never hold it while foreign code runs or an
/// object is destroyed. Any thread.
[[nodiscard]] base::StateMutex& hierarchyMutex();

}  // namespace tidewell::platform

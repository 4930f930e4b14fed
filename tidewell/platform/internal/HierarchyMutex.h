#pragma once

#include "tidewell/base/internal/Fork.h"

namespace tidewell::platform {

/// Guards the links between view controllers, windows and the application, and the weak references to their
/// delegates. One lock for all: a link joins two objects. No foreign code runs and no object dies while it is
/// held. Any thread.
[[nodiscard]] base::StateMutex& hierarchyMutex();

}  // namespace tidewell::platform

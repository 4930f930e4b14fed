// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gdk/gdk.h>

namespace tidewell::desktop {

/// Adds the style of the presenter's windows to a display, once. Its rules use only the presenter's own CSS
/// classes, so the host's widgets do not change.
void useStyle(GdkDisplay* display);

}  // namespace tidewell::desktop

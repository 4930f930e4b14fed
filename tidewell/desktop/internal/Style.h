#pragma once

#include <gdk/gdk.h>

namespace tidewell::desktop {

/// Adds the style of the presenter's windows to a display, once. Its rules name the presenter's own classes
/// only, so that no widget of the host changes.
void useStyle(GdkDisplay* display);

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/Style.h"

#include <gtk/gtk.h>

#include "tidewell/desktop/internal/Glib.h"

namespace tidewell::desktop {
namespace {

constexpr const char* kStyleMark = "tidewell-style";

constexpr const char* kRules = R"css(
.tidewell-address {
  background: alpha(currentColor, 0.07);
  border-radius: 9px;
  padding: 5px 14px;
  min-width: 320px;
}
.tidewell-address image { opacity: 0.7; }
.tidewell-progress, .tidewell-progress trough, .tidewell-progress progress { min-height: 3px; border-radius: 0; }
.tidewell-progress trough { background: transparent; border: none; }
.tidewell-progress progress { border: none; margin: 0; }
.tidewell-problem image { opacity: 0.35; }
.tidewell-problem .title { font-size: 150%; font-weight: bold; }
.tidewell-problem .detail { opacity: 0.65; }
.tidewell-alert .title { font-size: 125%; font-weight: bold; }
.tidewell-alert button { padding: 8px 18px; min-width: 96px; }
)css";

}  // namespace

void useStyle(GdkDisplay* display) {
  if (g_object_get_data(G_OBJECT(display), kStyleMark)) return;
  const Owned<GtkCssProvider> provider(gtk_css_provider_new());
  gtk_css_provider_load_from_data(provider.get(), kRules, -1);
  gtk_style_context_add_provider_for_display(display, GTK_STYLE_PROVIDER(provider.get()),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION - 1);
  g_object_set_data(G_OBJECT(display), kStyleMark, display);
}

}  // namespace tidewell::desktop

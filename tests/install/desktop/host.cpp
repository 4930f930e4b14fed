// SPDX-License-Identifier: Apache-2.0
// An installed desktop platform must find its browser and open a page in a window. The page is unreachable,
// so the browser shows an error.
#include <gtk/gtk.h>

#include <cstdio>
#include <string_view>

#include "tidewell/desktop/DesktopPlatform.h"

namespace {

bool shows(GtkWidget* widget, std::string_view text) {
  if (GTK_IS_LABEL(widget) && gtk_widget_get_mapped(widget) && gtk_label_get_text(GTK_LABEL(widget)) == text)
    return true;
  GtkWidget* child = gtk_widget_get_first_child(widget);
  while (child && !shows(child, text)) child = gtk_widget_get_next_sibling(child);
  return child;
}

}  // namespace

int main() {
  tidewell::desktop::Options options;
  options.posix().setBundleIdentifier("org.example.host");
  options.posix().setVersion("1.0");
  options.posix().setProxy("127.0.0.1:1");  // a closed port
  auto* const platform = tidewell::desktop::install(options);
  if (platform == nullptr) return 1;
  platform->presenter().showBrowser(*tidewell::base::Url::URLWithString("https://shop.example/"), {}, {});
  g_timeout_add(
      20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  GListModel* const windows = gtk_window_get_toplevels();
  for (;;) {  // ended by the calling script
    for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
      g_autoptr(GtkWidget) window = static_cast<GtkWidget*>(g_list_model_get_item(windows, i));
      if (!shows(window, "The page could not be loaded")) continue;
      std::puts("the browser is there");
      return 0;
    }
    g_main_context_iteration(nullptr, TRUE);
  }
}

// An installed desktop platform must open a window with a page in it: it finds its browser where it was put.
// The page is one that cannot be reached, so that the browser says so.
#include <gtk/gtk.h>

#include <cstdio>
#include <string>

#include "tidewell/desktop/DesktopPlatform.h"

namespace {

bool shows(GtkWidget* widget, const std::string& text) {
  if (GTK_IS_LABEL(widget) && gtk_widget_get_mapped(widget) && gtk_label_get_text(GTK_LABEL(widget)) == text)
    return true;
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    if (shows(child, text)) return true;
  }
  return false;
}

bool someWindowShows(const std::string& text) {
  GListModel* const windows = gtk_window_get_toplevels();
  for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
    auto* const window = static_cast<GtkWidget*>(g_list_model_get_item(windows, i));
    g_object_unref(window);
    if (shows(window, text)) return true;
  }
  return false;
}

}  // namespace

int main() {
  tidewell::desktop::Options options;
  options.posix.bundleIdentifier = "org.example.host";
  options.posix.version = "1.0";
  options.posix.proxy = "127.0.0.1:1";  // where nobody listens
  auto* const platform = tidewell::desktop::install(options);
  if (platform == nullptr) return 1;
  const auto url = tidewell::base::Url::URLWithString("https://shop.example/");
  platform->presenter().showBrowser(*url, {}, {});

  const gint64 end = g_get_monotonic_time() + 60 * G_USEC_PER_SEC;
  g_timeout_add(
      20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  while (!someWindowShows("The page could not be loaded")) {
    if (g_get_monotonic_time() > end) return 1;
    g_main_context_iteration(nullptr, TRUE);
  }
  std::puts("the browser is there");
}

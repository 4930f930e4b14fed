// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/GtkPresenter.h"

#include <utility>

#include "tidewell/desktop/internal/AlertWindow.h"
#include "tidewell/desktop/internal/BrowserWindow.h"
#include "tidewell/desktop/internal/Glib.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::desktop {
namespace {

using platform::Shown;

constexpr const char* kFollowed = "tidewell-followed";

bool isWebUrl(const base::Url& url) {
  const auto scheme = url.scheme();
  return scheme && (g_ascii_strcasecmp(scheme->c_str(), "https") == 0 ||
                    g_ascii_strcasecmp(scheme->c_str(), "http") == 0);
}

/// The application's own window: the active one, otherwise a visible one; null if there is none.
GtkWindow* hostWindow() {
  GListModel* const windows = gtk_window_get_toplevels();
  GtkWindow* found = nullptr;
  for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
    const Owned<GtkWindow> reference(static_cast<GtkWindow*>(g_list_model_get_item(windows, i)));
    GtkWindow* const window = reference.get();  // GTK holds another reference
    if (isShownWindow(window) || !gtk_widget_get_visible(GTK_WIDGET(window))) continue;
    if (gtk_window_is_active(window)) return window;
    if (!found) found = window;
  }
  return found;
}

void runLater(std::function<void()> function) {
  platform::Platform::current().mainQueue().async(std::move(function));
}

}  // namespace

GtkPresenter::GtkPresenter(WebPageSettings settings) : settings_(std::move(settings)) {
  static_cast<void>(screenSize());
}

Shown GtkPresenter::showAlert(platform::AlertContent content, std::function<void(std::size_t)> chosen,
                              Shown above) {
  return show(std::make_unique<AlertWindow>(content, std::move(chosen)), above);
}

Shown GtkPresenter::showBrowser(const base::Url& url, platform::BrowserEvents events, Shown above) {
  if (!isWebUrl(url)) return Shown::nothing;
  return show(std::make_unique<BrowserWindow>(url, settings_, std::move(events.didFinish)), above);
}

Shown GtkPresenter::show(std::unique_ptr<ShownWindow> window, Shown above) {
  const Shown shown{++last_};
  window->setClosedHandler([this, shown] { handleClosed(shown); });
  const auto below = items_.find(above);
  if (below == items_.end()) above = Shown::nothing;
  GtkWindow* const host = below == items_.end() ? hostWindow() : below->second.host;
  followHost(host);
  GtkWindow* const made = window->window();
  items_.emplace(shown, Item{above, std::move(window), host});
  stack();
  gtk_window_present(made);
  // Items that stay above are presented again, so that they cover the new one.
  for (const auto& [other, item] : items_) {
    if (other != shown && item.above == above && item.window->staysAbove())
      gtk_window_present(item.window->window());
  }
  return shown;
}

void GtkPresenter::stack() {
  for (const auto& [shown, item] : items_) {
    const auto below = items_.find(item.above);
    GtkWindow* parent = below == items_.end() ? item.host : below->second.window->window();
    if (item.window->staysAbove()) {
      for (const auto& [other, sibling] : items_) {
        if (sibling.above == item.above && !sibling.window->staysAbove()) parent = sibling.window->window();
      }
    }
    if (gtk_window_get_transient_for(item.window->window()) != parent) {
      gtk_window_set_transient_for(item.window->window(), parent);
    }
  }
}

std::vector<std::unique_ptr<ShownWindow>> GtkPresenter::take(Shown shown) {
  std::vector<std::unique_ptr<ShownWindow>> taken;
  const auto found = items_.find(shown);
  if (found == items_.end()) return taken;
  std::unique_ptr<ShownWindow> own = std::move(found->second.window);
  items_.erase(found);
  std::vector<Shown> above;
  for (const auto& [other, item] : items_) {
    if (item.above == shown) above.push_back(other);
  }
  for (const Shown other : above) {
    for (auto& window : take(other)) taken.push_back(std::move(window));
  }
  taken.push_back(std::move(own));
  stack();
  return taken;
}

void GtkPresenter::handleClosed(Shown shown) {
  for (auto& window : take(shown)) {
    runLater(window->takeCloseHandler());
    // This may run within a signal of the window, so its destruction is deferred.
    runLater([gone = std::shared_ptr<ShownWindow>(std::move(window))] {});
  }
}

void GtkPresenter::followHost(GtkWindow* host) {
  if (!host || g_object_get_data(G_OBJECT(host), kFollowed)) return;
  g_object_set_data(G_OBJECT(host), kFollowed, this);
  g_signal_connect(host, "destroy", G_CALLBACK(+[](GtkWindow* gone, gpointer self) {
                     static_cast<GtkPresenter*>(self)->handleHostClosed(gone);
                   }),
                   this);
}

void GtkPresenter::handleHostClosed(GtkWindow* host) {
  std::vector<Shown> gone;
  for (auto& [shown, item] : items_) {
    if (item.host != host) continue;
    item.host = nullptr;
    if (item.above == Shown::nothing) gone.push_back(shown);
  }
  for (const Shown shown : gone) handleClosed(shown);
}

void GtkPresenter::dismiss(Shown shown, bool, std::function<void()> done) {
  take(shown).clear();
  runLater(std::move(done));
}

platform::ScreenSize GtkPresenter::screenSize() {
  if (std::this_thread::get_id() == mainThread_) {
    GdkDisplay* const display = gdk_display_get_default();
    GtkWindow* const window = hostWindow();
    GdkSurface* const surface = window ? gtk_native_get_surface(GTK_NATIVE(window)) : nullptr;
    Owned<GdkMonitor> monitor(surface ? share(gdk_display_get_monitor_at_surface(display, surface))
                                      : nullptr);
    if (!monitor)
      monitor.reset(static_cast<GdkMonitor*>(g_list_model_get_item(gdk_display_get_monitors(display), 0)));
    GdkRectangle bounds{};
    if (monitor) gdk_monitor_get_geometry(monitor.get(), &bounds);
    width_ = bounds.width;
    height_ = bounds.height;
  }
  return {width_, height_};
}

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/ForegroundWatch.h"

#include <utility>

namespace tidewell::desktop {
namespace {

bool isAnyWindowActive(GListModel* windows) {
  for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
    const Owned<GtkWindow> window(static_cast<GtkWindow*>(g_list_model_get_item(windows, i)));
    // A hidden window may still count as active.
    if (gtk_window_is_active(window.get()) && gtk_widget_get_mapped(GTK_WIDGET(window.get()))) return true;
  }
  return false;
}

}  // namespace

ForegroundWatch::ForegroundWatch(std::function<void()> onEnter, std::function<void()> onLeave)
    : onEnter_(std::move(onEnter)),
      onLeave_(std::move(onLeave)),
      windows_(share(gtk_window_get_toplevels())) {
  windowsHandler_ =
      g_signal_connect_swapped(windows_.get(), "items-changed", G_CALLBACK(+[](ForegroundWatch* self) {
                                 self->followNewWindows();
                                 self->check();
                               }),
                               this);
  followNewWindows();
  check();
}

ForegroundWatch::~ForegroundWatch() {
  g_signal_handler_disconnect(windows_.get(), windowsHandler_);
  for (guint i = 0; i < g_list_model_get_n_items(windows_.get()); ++i) {
    const Owned<GObject> window(static_cast<GObject*>(g_list_model_get_item(windows_.get(), i)));
    g_signal_handlers_disconnect_by_data(window.get(), this);
  }
  if (leaving_ != 0) g_source_remove(leaving_);
}

void ForegroundWatch::followNewWindows() {
  for (guint i = 0; i < g_list_model_get_n_items(windows_.get()); ++i) {
    const Owned<GObject> window(static_cast<GObject*>(g_list_model_get_item(windows_.get(), i)));
    if (g_signal_handler_find(window.get(), G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, this) != 0) continue;
    for (const char* const change : {"notify::is-active", "map", "unmap"}) {
      g_signal_connect_swapped(window.get(), change,
                               G_CALLBACK(+[](ForegroundWatch* self) { self->check(); }), this);
    }
  }
}

void ForegroundWatch::check() {
  if (isAnyWindowActive(windows_.get())) {
    enter();
  } else if (isForeground_ && leaving_ == 0) {
    leaving_ = g_timeout_add(
        kSettleMilliseconds,
        +[](gpointer self) -> gboolean {
          static_cast<ForegroundWatch*>(self)->leave();
          return G_SOURCE_REMOVE;
        },
        this);
  }
}

void ForegroundWatch::enter() {
  if (leaving_ != 0) g_source_remove(std::exchange(leaving_, 0));
  if (std::exchange(isForeground_, true)) return;
  const bool isLaunch =
      !std::exchange(wasForeground_, true) && g_get_monotonic_time() - started_ < kLaunchMicroseconds;
  if (!isLaunch) onEnter_();
}

void ForegroundWatch::leave() {
  leaving_ = 0;
  isForeground_ = false;
  onLeave_();
}

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/ForegroundWatch.h"

#include <utility>

namespace tidewell::desktop {
namespace {

bool someWindowIsActive(GListModel* windows) {
  for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
    const Owned<GtkWindow> window(static_cast<GtkWindow*>(g_list_model_get_item(windows, i)));
    // A hidden window may still count as active.
    if (gtk_window_is_active(window.get()) && gtk_widget_get_mapped(GTK_WIDGET(window.get()))) return true;
  }
  return false;
}

}  // namespace

ForegroundWatch::ForegroundWatch(std::function<void()> entered, std::function<void()> left)
    : entered_(std::move(entered)), left_(std::move(left)), windows_(share(gtk_window_get_toplevels())) {
  windowsHandler_ =
      g_signal_connect_swapped(windows_.get(), "items-changed", G_CALLBACK(+[](ForegroundWatch* self) {
                                 self->followNewWindows();
                                 self->look();
                               }),
                               this);
  followNewWindows();
  look();
}

ForegroundWatch::~ForegroundWatch() {
  g_signal_handler_disconnect(windows_.get(), windowsHandler_);
  for (guint i = 0; i < g_list_model_get_n_items(windows_.get()); ++i) {
    const Owned<GObject> window(static_cast<GObject*>(g_list_model_get_item(windows_.get(), i)));
    g_signal_handlers_disconnect_by_data(window.get(), this);
  }
  if (settling_ != 0) g_source_remove(settling_);
}

void ForegroundWatch::followNewWindows() {
  for (guint i = 0; i < g_list_model_get_n_items(windows_.get()); ++i) {
    const Owned<GObject> window(static_cast<GObject*>(g_list_model_get_item(windows_.get(), i)));
    if (g_signal_handler_find(window.get(), G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, this) != 0) continue;
    for (const char* const change : {"notify::is-active", "map", "unmap"}) {
      g_signal_connect_swapped(window.get(), change, G_CALLBACK(+[](ForegroundWatch* self) { self->look(); }),
                               this);
    }
  }
}

void ForegroundWatch::look() {
  if (someWindowIsActive(windows_.get())) {
    rise();
  } else if (isForeground_ && settling_ == 0) {
    settling_ = g_timeout_add(
        kSettleMilliseconds,
        +[](gpointer self) -> gboolean {
          static_cast<ForegroundWatch*>(self)->settle();
          return G_SOURCE_REMOVE;
        },
        this);
  }
}

void ForegroundWatch::rise() {
  if (settling_ != 0) g_source_remove(std::exchange(settling_, 0));
  if (std::exchange(isForeground_, true)) return;
  const bool isLaunch =
      !std::exchange(wasForeground_, true) && g_get_monotonic_time() - started_ < kLaunchMicroseconds;
  if (!isLaunch) entered_();
}

void ForegroundWatch::settle() {
  settling_ = 0;
  isForeground_ = false;
  left_();
}

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/ShownWindow.h"

#include <utility>

#include "tidewell/desktop/internal/Style.h"

namespace tidewell::desktop {
namespace {

constexpr const char* kShownMark = "tidewell-shown";

}  // namespace

ShownWindow::ShownWindow() : window_(GTK_WINDOW(gtk_window_new())) {
  useStyle(gtk_widget_get_display(GTK_WIDGET(window_)));
  g_object_set_data(G_OBJECT(window_), kShownMark, window_);
  destroyed_ = g_signal_connect_swapped(window_, "destroy", G_CALLBACK(+[](ShownWindow* self) {
                                          self->window_ = nullptr;
                                          // The callback may destroy this object.
                                          if (const auto closed = std::exchange(self->closed_, nullptr))
                                            closed();
                                        }),
                                        this);
}

ShownWindow::~ShownWindow() {
  if (!window_) return;
  g_signal_handlers_disconnect_by_data(window_, this);
  gtk_window_destroy(window_);
}

void ShownWindow::close() {
  if (window_) gtk_window_destroy(window_);
}

bool isShownWindow(GtkWindow* window) { return g_object_get_data(G_OBJECT(window), kShownMark) != nullptr; }

}  // namespace tidewell::desktop

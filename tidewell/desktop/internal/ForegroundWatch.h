// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <functional>

#include "tidewell/desktop/internal/Glib.h"

namespace tidewell::desktop {

/// Tracks whether any GTK window of the process is active. Main thread only.
///
/// The first activation is the launch, not a return to the foreground, unless it comes late because the
/// application started without a window. The application counts as in the background after
/// `kSettleMilliseconds` without an active window: when the focus moves between its windows, neither is
/// active for a moment, and each return starts a check of the configuration.
class ForegroundWatch final {
 public:
  static constexpr guint kSettleMilliseconds = 150;
  static constexpr gint64 kLaunchMicroseconds = 10 * G_USEC_PER_SEC;

  ForegroundWatch(std::function<void()> onEnter, std::function<void()> onLeave);
  ~ForegroundWatch();
  ForegroundWatch(const ForegroundWatch&) = delete;
  ForegroundWatch& operator=(const ForegroundWatch&) = delete;

 private:
  void followNewWindows();
  void check();
  void enter();
  void leave();

  const std::function<void()> onEnter_;
  const std::function<void()> onLeave_;
  const gint64 started_ = g_get_monotonic_time();
  const Owned<GListModel> windows_;
  gulong windowsHandler_ = 0;
  bool isForeground_ = false;
  bool wasForeground_ = false;  ///< at any time so far
  guint leaving_ = 0;           ///< the timer's source ID
};

}  // namespace tidewell::desktop

#pragma once

#include <gtk/gtk.h>

#include <functional>

#include "tidewell/desktop/internal/Glib.h"

namespace tidewell::desktop {

/// Follows whether some GTK window of the process is active. Main thread only; lives as long as the process.
///
/// The first activation is the launch and no return, unless it comes late: then the application was started
/// without a window. Leaving is believed after `kSettleMilliseconds` without an active window: between two
/// windows of an application there is an instant in which neither is active, and each return starts a check
/// of the configuration.
class ForegroundWatch final {
 public:
  static constexpr guint kSettleMilliseconds = 150;
  static constexpr gint64 kLaunchMicroseconds = 10 * G_USEC_PER_SEC;

  ForegroundWatch(std::function<void()> entered, std::function<void()> left);
  ~ForegroundWatch();
  ForegroundWatch(const ForegroundWatch&) = delete;
  ForegroundWatch& operator=(const ForegroundWatch&) = delete;

 private:
  void followNewWindows();
  void look();
  void rise();
  void settle();

  const std::function<void()> entered_;
  const std::function<void()> left_;
  const gint64 started_ = g_get_monotonic_time();
  const Owned<GListModel> windows_;
  gulong windowsHandler_ = 0;
  bool isForeground_ = false;
  bool wasForeground_ = false;  ///< ever
  guint settling_ = 0;          ///< the timer's source
};

}  // namespace tidewell::desktop

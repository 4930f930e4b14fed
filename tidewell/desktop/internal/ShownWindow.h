#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <utility>

namespace tidewell::desktop {

/// A window that the presenter shows. Owns the GTK window, which goes with it. Main thread only.
///
/// The window may go by itself: the user closes it, or the host destroys all its windows. Then `gone` is
/// called, once, and the owner lets go of this object.
class ShownWindow {
 public:
  virtual ~ShownWindow();
  ShownWindow(const ShownWindow&) = delete;
  ShownWindow& operator=(const ShownWindow&) = delete;

  /// Null once it is gone.
  [[nodiscard]] GtkWindow* window() const noexcept { return window_; }
  void setGone(std::function<void()> gone) { gone_ = std::move(gone); }
  /// Whether it stays above other things that are shown above the same window.
  [[nodiscard]] virtual bool staysAbove() const = 0;
  /// What the caller is to be told where the window goes without being dismissed. Asked once.
  [[nodiscard]] virtual std::function<void()> farewell() = 0;

 protected:
  ShownWindow();
  /// Takes the window down as the user does.
  void close();

 private:
  GtkWindow* window_;
  gulong destroyed_ = 0;
  std::function<void()> gone_;
};

/// Whether a window is one of the presenter's.
[[nodiscard]] bool isShownWindow(GtkWindow* window);

}  // namespace tidewell::desktop

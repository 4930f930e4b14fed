// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <utility>

namespace tidewell::desktop {

/// A window shown by the presenter. Owns the GTK window. Main thread only.
///
/// The user may close the window, or the host may destroy all its windows. Then the
/// handler of `setClosedHandler` is called, once, and the owner destroys this object.
class ShownWindow {
 public:
  virtual ~ShownWindow();
  ShownWindow(const ShownWindow&) = delete;
  ShownWindow& operator=(const ShownWindow&) = delete;

  /// Null once the window is destroyed.
  [[nodiscard]] GtkWindow* window() const noexcept { return window_; }
  void setClosedHandler(std::function<void()> closed) { closed_ = std::move(closed); }
  /// Whether the window stays above others that are shown above the same window.
  [[nodiscard]] virtual bool staysAbove() const = 0;
  /// Takes the function that notifies the application if the window closes without being dismissed. Call it
  /// once.
  [[nodiscard]] virtual std::function<void()> takeCloseHandler() = 0;

 protected:
  ShownWindow();
  /// Closes the window as the user would.
  void close();

 private:
  GtkWindow* window_;
  gulong destroyed_ = 0;
  std::function<void()> closed_;
};

/// Whether a window belongs to the presenter.
[[nodiscard]] bool isShownWindow(GtkWindow* window);

}  // namespace tidewell::desktop

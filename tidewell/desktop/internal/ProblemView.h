#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>

#include "tidewell/desktop/internal/WebPage.h"

namespace tidewell::desktop {

/// What the browser shows in place of a page that cannot be seen: a sign, two sentences, and a button that
/// tries again. Main thread only; the widget belongs to the window that it is put in.
class ProblemView final {
 public:
  explicit ProblemView(std::function<void()> tryAgain);
  ProblemView(const ProblemView&) = delete;
  ProblemView& operator=(const ProblemView&) = delete;

  [[nodiscard]] GtkWidget* widget() const noexcept { return box_; }
  void show(const WebPageFailure& failure, const std::string& host);

 private:
  const std::function<void()> tryAgain_;
  GtkWidget* const box_;
  GtkWidget* const sign_;
  GtkWidget* const title_;
  GtkWidget* const detail_;
  GtkWidget* const button_;
};

}  // namespace tidewell::desktop

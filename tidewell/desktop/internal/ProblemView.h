// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>

#include "tidewell/desktop/internal/WebPage.h"

namespace tidewell::desktop {

/// Replaces a page that cannot be shown: an icon, two sentences, and a retry button. Main thread only; the
/// widget is owned by its window.
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

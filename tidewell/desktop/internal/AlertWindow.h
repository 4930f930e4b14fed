// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "tidewell/desktop/internal/ShownWindow.h"
#include "tidewell/platform/Presenter.h"

namespace tidewell::desktop {

/// An alert: a modal window with a title, a message and buttons.
///
/// Closing the window chooses the cancel button, or the only button. An alert with several buttons and no
/// cancel button cannot be closed.
class AlertWindow final : public ShownWindow {
 public:
  AlertWindow(const platform::AlertContent& content, std::function<void(std::size_t)> chosen);

  [[nodiscard]] bool staysAbove() const override { return true; }
  [[nodiscard]] std::function<void()> takeCloseHandler() override;

 private:
  void addButton(GtkBox* box, const platform::AlertAction& action, std::size_t index);
  void choose(std::size_t index);

  std::function<void(std::size_t)> chosen_;
  std::size_t choice_ = platform::Presenter::kNoAction;
  std::optional<std::size_t> closing_;  ///< the choice made by closing the window
};

}  // namespace tidewell::desktop

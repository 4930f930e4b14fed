// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tidewell/platform/UIAlertAction.h"
#include "tidewell/platform/UIViewController.h"

namespace tidewell::platform {

/// An alert with a title, a message and buttons, in the platform's own style. Present it to show it; the
/// user's choice dismisses it. Main thread only.
class TIDEWELL_EXPORT UIAlertController : public runtime::Subclass<UIAlertController, UIViewController> {
 public:
  using Action = std::shared_ptr<UIAlertAction>;

  UIAlertController(std::optional<std::string> title, std::optional<std::string> message);
  ~UIAlertController() override;

  [[nodiscard]] const std::optional<std::string>& title() const noexcept { return title_; }
  [[nodiscard]] const std::optional<std::string>& message() const noexcept { return message_; }
  [[nodiscard]] const std::vector<Action>& actions() const noexcept { return actions_; }
  /// Appends a button; an alert already on the screen does not change. Raises `kInvalidArgumentException` for
  /// null, and `kInternalInconsistencyException` for a second cancel button.
  void addAction(const Action& action);

 private:
  [[nodiscard]] Layer layer() const override { return Layer::alert; }
  [[nodiscard]] Shown show(Presenter& presenter, Shown above) override;

  const std::optional<std::string> title_;
  const std::optional<std::string> message_;
  std::vector<Action> actions_;
};

}  // namespace tidewell::platform

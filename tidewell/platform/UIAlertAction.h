// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/runtime/Make.h"

namespace tidewell::platform {

/// A button of an alert: title, style and handler. Immutable.
class TIDEWELL_EXPORT UIAlertAction : public runtime::Subclass<UIAlertAction> {
 public:
  /// Called on the main queue when the user has chosen the button and the alert has closed. May be empty.
  using Handler = std::function<void(UIAlertAction& action)>;

  UIAlertAction(std::optional<std::string> title, AlertActionStyle style, Handler handler);
  ~UIAlertAction() override;
  [[nodiscard]] static std::shared_ptr<UIAlertAction> actionWithTitle(std::optional<std::string> title,
                                                                      AlertActionStyle style,
                                                                      Handler handler);

  [[nodiscard]] const std::optional<std::string>& title() const noexcept { return title_; }
  [[nodiscard]] AlertActionStyle style() const noexcept { return style_; }
  [[nodiscard]] const Handler& handler() const noexcept { return handler_; }

 private:
  const std::optional<std::string> title_;
  const AlertActionStyle style_;
  const Handler handler_;
};

}  // namespace tidewell::platform

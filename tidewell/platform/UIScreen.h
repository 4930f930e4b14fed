// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/runtime/Make.h"

namespace tidewell::platform {

/// The application's screen. Any thread.
class TIDEWELL_EXPORT UIScreen : public runtime::Subclass<UIScreen> {
 public:
  ~UIScreen() override;

  /// Always the same object.
  [[nodiscard]] static std::shared_ptr<UIScreen> mainScreen();
  /// The current size of the platform's screen; the origin is (0, 0). Not cached, because a screen can
  /// rotate.
  [[nodiscard]] ScreenSize bounds() const;
};

}  // namespace tidewell::platform

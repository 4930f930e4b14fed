#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/runtime/Make.h"

namespace tidewell::platform {

/// The screen that the application is seen on. Any thread.
class TIDEWELL_EXPORT UIScreen : public runtime::Subclass<UIScreen> {
 public:
  ~UIScreen() override;

  /// The same object always.
  [[nodiscard]] static std::shared_ptr<UIScreen> mainScreen();
  /// The size of the platform's screen now; the origin is 0, 0. Asked anew each time, for a screen may turn.
  [[nodiscard]] ScreenSize bounds() const;
};

}  // namespace tidewell::platform

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIScreen.h"

#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

UIScreen::~UIScreen() = default;

std::shared_ptr<UIScreen> UIScreen::mainScreen() {
  static constinit std::atomic<const std::shared_ptr<UIScreen>*> screen{nullptr};
  return base::madeOnce(
      screen, [] { return std::make_unique<const std::shared_ptr<UIScreen>>(runtime::make<UIScreen>()); });
}

ScreenSize UIScreen::bounds() const { return Platform::current().presenter().screenSize(); }

}  // namespace tidewell::platform

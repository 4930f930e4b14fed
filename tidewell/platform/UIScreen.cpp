#include "tidewell/platform/UIScreen.h"

#include "tidewell/base/NeverDestroyed.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

UIScreen::~UIScreen() = default;

std::shared_ptr<UIScreen> UIScreen::mainScreen() {
  static base::NeverDestroyed<std::shared_ptr<UIScreen>> screen(runtime::make<UIScreen>());
  return *screen;
}

ScreenSize UIScreen::bounds() const { return Platform::current().presenter().screenSize(); }

}  // namespace tidewell::platform

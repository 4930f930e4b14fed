// SPDX-License-Identifier: Apache-2.0
// Links, pages and alerts.
#include <iterator>
#include <string>

#include "tidewell/c/internal/Boundary.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::c {
namespace {

/// In the order of `tdw_links`.
constexpr void (*kOpen[])(std::optional<base::Url>) = {
    TWCoreUtils::openDeeplink, TWCoreUtils::openDeeplinkBelowiOS10, TWCoreUtils::openUniversalLink,
    TWCoreUtils::openCustomUrlLink, TWCoreUtils::openRichLandingLink};
static_assert(std::size(kOpen) == TDW_LINK_PAGE + 1);

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

tdw_status tdw_open_link(tdw_link how, const char* url) {
  return statusOf([&] { kOpen[required<tdw_links>(how, TDW_LINK_PAGE)](requiredUrl(url)); });
}

tdw_status tdw_close_page(bool is_animated) {
  return statusOf(
      [&] { TidewellCore::sharedInstance().dismissRichLandingWebViewControllerWithAnimation(is_animated); });
}

tdw_status tdw_show_alert(const char* message, const char* title) {
  return statusOf([&] {
    const std::optional<std::string> shown(optionalText(message)), above(optionalText(title));
    require(platform::Platform::isInstalled(), TDW_NOT_INSTALLED);
    platform::Platform::current().mainQueue().async(
        [shown, above] { TWCoreUtils::showAlertViewWithMessage(shown, above); });
  });
}

tdw_status tdw_get_screen_size(double* width, double* height) {
  if (width != nullptr) *width = 0;
  if (height != nullptr) *height = 0;
  return statusOf([&] {
    if (width != nullptr) *width = TWCoreUtils::deviceScreenWidth();
    if (height != nullptr) *height = TWCoreUtils::deviceScreenHeight();
  });
}

}  // extern "C"

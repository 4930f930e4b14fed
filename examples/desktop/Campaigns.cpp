// SPDX-License-Identifier: Apache-2.0
#include "Campaigns.h"

#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TidewellCore.h"

namespace {

using tidewell::TWCoreUtils;

tidewell::base::Url url(const char* text) { return *tidewell::base::Url::URLWithString(text); }

}  // namespace

std::vector<Campaign> makeCampaigns() {
  return {
      {"deep-link", "user-bookmarks-symbolic", "Your seat is reserved", "Deep link into another application",
       [] { TWCoreUtils::openDeeplink(url("tickets://events/harvest-night?seat=4B")); }},
      {"universal-link", "find-location-symbolic", "Meet us at the harbour",
       "Universal link, claimed by its host",
       [] { TWCoreUtils::openDeeplink(url("https://maps.fjord.example/harbour/pier-4")); }},
      {"own-link", "view-list-symbolic", "Your last order", "Universal link to this application itself",
       [] { TWCoreUtils::openUniversalLink(url("https://shop.fjord.example/orders/4711")); }},
      {"custom-link", "call-start-symbolic", "Questions? Give us a call", "Custom link, by its scheme",
       [] { TWCoreUtils::openCustomUrlLink(url("tel:+4755012345")); }},
      {"landing-page", "emblem-photos-symbolic", "The autumn harvest is in",
       "Rich landing page in the application",
       [] { TWCoreUtils::openRichLandingLink(url("https://shop.fjord.example/autumn")); }},
      {"failed-page", "dialog-warning-symbolic", "A page that is gone",
       "What the user sees if the server is unreachable",
       [] { TWCoreUtils::openRichLandingLink(url("https://gone.fjord.example/")); }},
      {"alert", "dialog-information-symbolic", "Order 4711 is ready", "One-button alert",
       [] {
         TWCoreUtils::showAlertViewWithMessage(
             "Two bags of Dawn wait for you at the counter until six o’clock.", "Order 4711 is ready");
       }},
      {"dismiss", "window-close-symbolic", "Dismiss the page", "The application takes the page away",
       [] {
         tidewell::TidewellCore::sharedInstance().dismissRichLandingWebViewControllerWithAnimation(true);
       }},
  };
}

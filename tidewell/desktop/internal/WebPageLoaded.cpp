// SPDX-License-Identifier: Apache-2.0
#include <new>
#include <string>

#include "tidewell/base/internal/NeighbourModule.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/desktop/internal/WebPage.h"

// For shared libraries. Linking WebKitGTK would delay a host's start by a quarter of a second, so the code
// that needs it is a module beside this library, loaded for the first page.
namespace tidewell::desktop {
namespace {

base::NeverDestroyed<base::NeighbourModule> browser(reinterpret_cast<const void*>(&loadWebPageMaker),
                                                    "libTidewellBrowser.so");

}  // namespace

WebPageMaker loadWebPageMaker(std::string& problem) noexcept {
  try {
    const auto maker = reinterpret_cast<WebPageMaker>(browser->function("tidewell_make_web_page", problem));
    if (!maker) problem = "the browser cannot be loaded: " + problem;
    return maker;
  } catch (const std::bad_alloc&) {
    problem = "out of memory";  // fits the small-string buffer
    return nullptr;
  }
}

}  // namespace tidewell::desktop

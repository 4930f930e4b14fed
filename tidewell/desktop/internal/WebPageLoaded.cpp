#include <new>
#include <string>

#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/desktop/internal/WebPage.h"
#include "tidewell/posix/internal/NeighbourModule.h"

// For shared libraries: linking WebKitGTK makes a host start a quarter of a second later, so the part that
// needs it is a module that lies beside this library and is loaded for the first page.
namespace tidewell::desktop {
namespace {

base::NeverDestroyed<posix::NeighbourModule> browser(reinterpret_cast<const void*>(&loadWebPageMaker),
                                                     "libTidewellBrowser.so");

}  // namespace

WebPageMaker loadWebPageMaker(std::string& problem) noexcept {
  try {
    const auto maker = reinterpret_cast<WebPageMaker>(browser->function("tidewell_make_web_page", problem));
    if (!maker) problem = "the browser cannot be loaded: " + problem;
    return maker;
  } catch (const std::bad_alloc&) {
    problem = "out of memory";  // short enough to need none
    return nullptr;
  }
}

}  // namespace tidewell::desktop

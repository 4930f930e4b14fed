// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/WebPage.h"

// For static libraries, with WebKitGTK linked into the host.
namespace tidewell::desktop {

WebPageMaker loadWebPageMaker(std::string&) noexcept { return &tidewell_make_web_page; }

}  // namespace tidewell::desktop

#pragma once

#include <functional>
#include <string>

#include "tidewell/desktop/internal/WebPage.h"

namespace tidewell::desktop {

/// Calls back, later and on the main thread, with what makes web pages, or with null and a sentence that says
/// why this machine cannot show any.
///
/// The first time WebKitGTK is loaded and its sandbox is tried out, both on another thread: where the sandbox
/// cannot be built WebKit would end the whole process. Foreign pages are not shown without one, unless the
/// environment switches it off for WebKit (WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS=1).
void prepareWebEngine(std::function<void(WebPageMaker, const std::string& problem)> ready);

}  // namespace tidewell::desktop

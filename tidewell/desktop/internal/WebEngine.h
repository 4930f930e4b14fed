// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "tidewell/desktop/internal/WebPage.h"

namespace tidewell::desktop {

/// Asynchronously calls back on the main thread with the function that creates web pages, or with null and
/// the reason why this machine cannot show any.
///
/// The first call loads WebKitGTK and tests its sandbox, both on another thread; WebKit would end the process
/// if its sandbox could not be created. Pages are not shown without a sandbox, unless the environment
/// disables it for WebKit (WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS=1).
void prepareWebEngine(std::function<void(WebPageMaker, const std::string& problem)> ready);

}  // namespace tidewell::desktop

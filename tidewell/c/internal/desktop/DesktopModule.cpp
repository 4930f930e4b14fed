// SPDX-License-Identifier: Apache-2.0
#include <atomic>

#include "tidewell/c/internal/DesktopInstaller.h"
#include "tidewell/desktop/DesktopPlatform.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::c {
namespace {

constinit std::atomic<desktop::DesktopPlatform*> installed{nullptr};

constexpr DesktopControls kControls{[] { return installed.load()->isDisabled(); },
                                    [] { installed.load()->enterForeground(); },
                                    [] { installed.load()->enterBackground(); }};

}  // namespace

extern "C" [[gnu::visibility("default")]] tdw_status tidewell_c_install_desktop(
    const Settings& settings, const DesktopControls*& controls) {
  desktop::Options options;
  options.posix() = settings.posix;
  if (settings.followsWindows) options.setFollowsWindows(*settings.followsWindows);
  if (settings.usesSecretService) options.setUsesSecretService(*settings.usesSecretService);
  if (settings.pageTimeout) options.setPageTimeout(*settings.pageTimeout);
  desktop::DesktopPlatform* const platform = desktop::install(options);
  if (platform == nullptr) return platform::Platform::isInstalled() ? TDW_ALREADY_INSTALLED : TDW_NO_MEMORY;
  installed = platform;
  controls = &kControls;
  return TDW_OK;
}

}  // namespace tidewell::c

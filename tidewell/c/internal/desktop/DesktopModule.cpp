// SPDX-License-Identifier: Apache-2.0
#include <atomic>

#include "tidewell/c/internal/DesktopInstaller.h"
#include "tidewell/desktop/DesktopPlatform.h"

namespace tidewell::c {
namespace {

constinit std::atomic<desktop::DesktopPlatform*> installed{nullptr};

constexpr DesktopControls kControls{[] { return installed.load()->isDisabled(); },
                                    [] { installed.load()->enterForeground(); },
                                    [] { installed.load()->enterBackground(); }};

}  // namespace

extern "C" [[gnu::visibility("default")]] const DesktopControls* tidewell_c_install_desktop(
    const Settings& settings) {
  desktop::Options options;
  options.posix() = settings.posix;
  if (settings.followsWindows) options.setFollowsWindows(*settings.followsWindows);
  if (settings.usesSecretService) options.setUsesSecretService(*settings.usesSecretService);
  if (settings.pageTimeout) options.setPageTimeout(*settings.pageTimeout);
  desktop::DesktopPlatform* const platform = desktop::install(options);
  if (platform == nullptr) return nullptr;
  installed = platform;
  return &kControls;
}

}  // namespace tidewell::c

// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "tidewell/base/internal/Loader.h"
#include "tidewell/c/internal/DesktopInstaller.h"
#include "tidewell/c/internal/HostContext.h"
#include "tidewell/c/internal/OptionsState.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/posix/PosixPlatform.h"

namespace tidewell::c {
namespace {

// The platform that was installed through this interface; at most one is not null.
constinit std::atomic<posix::PosixPlatform*> headless{nullptr};
constinit std::atomic<const DesktopControls*> desktopControls{nullptr};

void refuseSecondPlatform() {
  if (!platform::Platform::isInstalled()) return;
  platform::announce(platform::Trouble::secondPlatform, platform::kSecondPlatform);
  throw Refusal{TDW_ALREADY_INSTALLED};
}

/// The status for an installation that returned no platform. It has reported the complaint.
tdw_status reasonOfFailure(const tdw_options& options) {
  if (!complaintAbout(options.posix).empty()) return TDW_INVALID;
  return platform::Platform::isInstalled() ? TDW_ALREADY_INSTALLED : TDW_NO_MEMORY;
}

/// Calls one of two operations on the installed platform.
template <class Headless, class OnDesktop>
tdw_status onInstalled(Headless onHeadless, OnDesktop onDesktop) noexcept {
  return statusOf([&] {
    if (posix::PosixPlatform* const platform = headless.load()) {
      onHeadless(*platform);
    } else if (const DesktopControls* const controls = desktopControls.load()) {
      onDesktop(*controls);
    } else {
      throw Refusal{TDW_NOT_INSTALLED};
    }
  });
}

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

tdw_status tdw_install_posix(const tdw_options* options) {
  base::keepLoaded(__builtin_return_address(0));  // a plug-in may be closed while its callbacks are pending
  return statusOf([&] {
    require(options != nullptr);
    refuseSecondPlatform();
    posix::PosixPlatform* const platform = posix::install(options->posix);
    if (platform == nullptr) throw Refusal{reasonOfFailure(*options)};
    headless = platform;
  });
}

tdw_status tdw_install_desktop(const tdw_options* options) {
  base::keepLoaded(__builtin_return_address(0));
  return statusOf([&] {
    require(options != nullptr);
    refuseSecondPlatform();
    std::string problem;
    const DesktopInstaller install = findDesktopInstaller(problem);
    if (install == nullptr) {
      platform::report("the desktop platform cannot be loaded: " + problem);
      throw Refusal{TDW_UNAVAILABLE};
    }
    const DesktopControls* const controls = install(*options);
    if (controls == nullptr) throw Refusal{reasonOfFailure(*options)};
    desktopControls = controls;
  });
}

bool tdw_is_installed() { return platform::Platform::isInstalled(); }

bool tdw_is_disabled() {
  bool isDisabled = false;
  static_cast<void>(onInstalled([&](auto& platform) { isDisabled = platform.isDisabled(); },
                                [&](const auto& controls) { isDisabled = controls.isDisabled(); }));
  return isDisabled;
}

int tdw_main_queue_descriptor() {
  posix::PosixPlatform* const platform = headless.load();
  return platform != nullptr ? platform->mainQueueDescriptor() : -1;
}

std::size_t tdw_main_queue_poll() {
  return valueOf(std::size_t{0}, [] {
    posix::PosixPlatform* const platform = headless.load();
    return platform != nullptr ? platform->pollMainQueue() : std::size_t{0};
  });
}

std::size_t tdw_main_queue_run(std::int64_t milliseconds) {
  return valueOf(std::size_t{0}, [&] {
    posix::PosixPlatform* const platform = headless.load();
    if (platform == nullptr || milliseconds < 0) return std::size_t{0};
    return platform->runMainQueue(duration(milliseconds));
  });
}

tdw_status tdw_main_queue_add(tdw_function function, void* context, tdw_free_context free_context) {
  return statusWithCallback(function, context, free_context, [](const auto& callback) {
    require(platform::Platform::isInstalled(), TDW_NOT_INSTALLED);
    platform::Platform::current().mainQueue().async(callback);
    return TDW_OK;
  });
}

tdw_status tdw_enter_foreground() {
  return onInstalled([](auto& platform) { platform.enterForeground(); },
                     [](const auto& controls) { controls.enterForeground(); });
}
tdw_status tdw_enter_background() {
  return onInstalled([](auto& platform) { platform.enterBackground(); },
                     [](const auto& controls) { controls.enterBackground(); });
}

}  // extern "C"

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tidewell/c/internal/OptionsState.h"

namespace tidewell::c {

/// What the C interface needs of a desktop platform that was installed. Never destroyed.
struct DesktopControls {
  bool (*isDisabled)();
  void (*enterForeground)();
  void (*enterBackground)();
};

/// Installs the desktop platform. Returns its controls; null, as `desktop::install`, if there is no platform.
using DesktopInstaller = const DesktopControls* (*)(const Settings& settings);

/// The installer; null, with the reason in `problem`, if this build or this machine has none. Defined by the
/// source that the build chooses: the installer is in a module, linked, or not built.
[[nodiscard]] DesktopInstaller findDesktopInstaller(std::string& problem);

}  // namespace tidewell::c

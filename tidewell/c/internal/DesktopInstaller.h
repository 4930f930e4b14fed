// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tidewell/c/internal/OptionsState.h"
#include "tidewell/c/tidewell.h"

namespace tidewell::c {

/// What the C interface needs of a desktop platform that was installed. Never destroyed.
struct DesktopControls {
  bool (*isDisabled)();
  void (*enterForeground)();
  void (*enterBackground)();
};

/// Installs the desktop platform. Returns a status, and on success stores the controls.
using DesktopInstaller = tdw_status (*)(const Settings& settings, const DesktopControls*& controls);

/// The installer; null, with the reason in `problem`, if this build or this machine has none. One of three
/// sources: the installer is in a module, linked, or not built.
[[nodiscard]] DesktopInstaller findDesktopInstaller(std::string& problem);

}  // namespace tidewell::c

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/c/internal/DesktopInstaller.h"

// For static libraries that are built with the desktop platform.
namespace tidewell::c {

extern "C" const DesktopControls* tidewell_c_install_desktop(const Settings& settings);

DesktopInstaller findDesktopInstaller(std::string&) { return &tidewell_c_install_desktop; }

}  // namespace tidewell::c

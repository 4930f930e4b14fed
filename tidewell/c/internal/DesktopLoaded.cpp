// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/NeighbourModule.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/c/internal/DesktopInstaller.h"

// For shared libraries. A host in C that needs no desktop must not need GTK, so the code that links the
// desktop platform is a module beside this library, loaded by the installation.
namespace tidewell::c {
namespace {

base::NeverDestroyed<base::NeighbourModule> desktopModule(
    reinterpret_cast<const void*>(&findDesktopInstaller), "libTidewellCDesktop.so");

}  // namespace

DesktopInstaller findDesktopInstaller(std::string& problem) {
  return reinterpret_cast<DesktopInstaller>(desktopModule->function("tidewell_c_install_desktop", problem));
}

}  // namespace tidewell::c

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/c/internal/DesktopInstaller.h"

// For static libraries that are built without the desktop platform.
namespace tidewell::c {

DesktopInstaller findDesktopInstaller(std::string& problem) {
  problem = "this build has no desktop platform";
  return nullptr;
}

}  // namespace tidewell::c

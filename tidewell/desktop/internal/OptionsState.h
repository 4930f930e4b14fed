// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tidewell/desktop/Options.h"
#include "tidewell/posix/internal/OptionsState.h"

namespace tidewell::desktop {

/// The fields behind the setters of `Options`, which document them.
struct Options::State {
  posix::Options posix;
  bool followsWindows = true;
  bool usesSecretService = true;
  double pageTimeout = 60.0;
};

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "tidewell/posix/Options.h"

namespace tidewell::c {

/// The settings of both platforms; those without a value keep the platform's default.
struct Settings {
  posix::Options posix;
  std::optional<bool> followsWindows;
  std::optional<bool> usesSecretService;
  std::optional<double> pageTimeout;
};

}  // namespace tidewell::c

struct tdw_options : tidewell::c::Settings {};

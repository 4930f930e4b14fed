// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

/// The destination of log lines. Any thread. Called with no lock held, so an implementation may itself log.
class TIDEWELL_EXPORT Console {
 public:
  virtual ~Console();
  /// Writes one line, as `NSLog` does: the console adds its own prefix and the final line feed, and keeps
  /// line feeds within the text. Failures are ignored, since there is no one to report them to.
  virtual void write(std::string_view text) = 0;
};

}  // namespace tidewell::platform

#pragma once

#include <string_view>

#include "tidewell/base/Export.h"

namespace tidewell::platform {

/// Where log lines go. Any thread; no lock is held during a call, so an implementation may log, too.
class TIDEWELL_EXPORT Console {
 public:
  virtual ~Console();
  /// One line, as `NSLog` takes it: the console adds its own prefix and the line feed. Line feeds inside the
  /// text are kept. Errors are swallowed: there is nobody left to tell.
  virtual void write(std::string_view text) = 0;
};

}  // namespace tidewell::platform

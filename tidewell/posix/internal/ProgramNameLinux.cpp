// SPDX-License-Identifier: Apache-2.0
#include <cerrno>

#include "tidewell/posix/internal/ProgramName.h"

namespace tidewell::posix {

const char* programName() noexcept { return program_invocation_short_name; }

}  // namespace tidewell::posix

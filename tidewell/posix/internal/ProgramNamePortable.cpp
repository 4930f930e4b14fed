// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/ProgramName.h"

extern "C" const char* __progname;  // set by the start-up code of ELF systems

namespace tidewell::posix {

const char* programName() noexcept { return __progname; }

}  // namespace tidewell::posix

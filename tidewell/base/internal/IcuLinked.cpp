// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Icu.h"

// For static libraries, with ICU linked into the host.
namespace tidewell::base::detail {

const IcuFunctions* icu() noexcept {
  std::string problem;
  return tidewell_icu_functions(TIDEWELL_VERSION_STRING, problem);
}

}  // namespace tidewell::base::detail

// SPDX-License-Identifier: Apache-2.0
#include <string_view>

#include "tidewell/base/internal/Icu.h"

namespace tidewell::base::detail {
namespace {

constexpr IcuFunctions kFunctions = {
#define TIDEWELL_ICU_ADDRESS(function) &::function,
    TIDEWELL_ICU_FUNCTIONS(TIDEWELL_ICU_ADDRESS)
#undef TIDEWELL_ICU_ADDRESS
};

}  // namespace
}  // namespace tidewell::base::detail

const tidewell::base::detail::IcuFunctions* tidewell_icu_functions(const char* version,
                                                                   std::string& problem) {
  if (version != std::string_view(TIDEWELL_VERSION_STRING)) {
    problem = "the module has another version than the library";
    return nullptr;
  }
  return &tidewell::base::detail::kFunctions;
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/uregex.h>
#include <unicode/utext.h>

#include <string>

namespace tidewell::base::detail {

// clang-format off
#define TIDEWELL_ICU_FUNCTIONS(EACH)                                                                      \
  EACH(u_errorName)                                                                                       \
  EACH(ucal_clear) EACH(ucal_close) EACH(ucal_get) EACH(ucal_getCanonicalTimeZoneID) EACH(ucal_getMillis) \
  EACH(ucal_open) EACH(ucal_setAttribute) EACH(ucal_setDateTime) EACH(ucal_setMillis)                     \
  EACH(udat_close) EACH(udat_format) EACH(udat_open) EACH(udat_parseCalendar) EACH(udat_setLenient)       \
  EACH(uregex_clone) EACH(uregex_close) EACH(uregex_hitEnd) EACH(uregex_matches) EACH(uregex_open)        \
  EACH(uregex_setMatchCallback) EACH(uregex_setStackLimit) EACH(uregex_setUText)                          \
  EACH(utext_close) EACH(utext_openUChars)
// clang-format on

/// The functions of ICU that this library calls. Linking ICU would cost a host 3 ms before `main`, so the
/// table is in a module that is loaded with the first expression, named zone or date pattern with names.
struct IcuFunctions {
#define TIDEWELL_ICU_MEMBER(function) decltype(&::function) function;
  TIDEWELL_ICU_FUNCTIONS(TIDEWELL_ICU_MEMBER)
#undef TIDEWELL_ICU_MEMBER
};

/// Loads ICU if it is not loaded yet. Null, after a report to the load-failure handler, if it is unavailable;
/// a later call may succeed. Never null once ICU is loaded. Call with no lock held: this waits for the
/// loader.
[[nodiscard]] const IcuFunctions* icu() noexcept;

}  // namespace tidewell::base::detail

#if defined(TIDEWELL_UNICODE_MODULE)
#define TIDEWELL_UNICODE_ENTRY __attribute__((visibility("default")))
#else
#define TIDEWELL_UNICODE_ENTRY
#endif

/// The only symbol that the module exports. Null, with the reason in `problem`, if the library's version is
/// not the module's own.
extern "C" TIDEWELL_UNICODE_ENTRY const tidewell::base::detail::IcuFunctions* tidewell_icu_functions(
    const char* version, std::string& problem);

// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <new>

#include "tidewell/base/internal/Icu.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/NeighbourModule.h"
#include "tidewell/base/internal/NeverDestroyed.h"

// For shared libraries.
namespace tidewell::base::detail {
namespace {

NeverDestroyed<NeighbourModule> unicode(reinterpret_cast<const void*>(&icu), "libTidewellUnicode.so");
constinit std::atomic<const IcuFunctions*> functions{nullptr};

const IcuFunctions* load() {
  std::string problem;
  const auto entry = reinterpret_cast<decltype(&tidewell_icu_functions)>(
      unicode->function("tidewell_icu_functions", problem));
  const IcuFunctions* const found = entry ? entry(TIDEWELL_VERSION_STRING, problem) : nullptr;
  if (found) {
    functions.store(found, std::memory_order_release);
  } else {
    reportLoadFailure("regular expressions, named time zones and date patterns with names do not work: " +
                      problem);
  }
  return found;
}

}  // namespace

// No lock: a constructor of a library that is being loaded may ask for ICU while the loader waits for it.
const IcuFunctions* icu() noexcept {
  if (const IcuFunctions* const known = functions.load(std::memory_order_acquire)) return known;
  try {
    return load();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace tidewell::base::detail

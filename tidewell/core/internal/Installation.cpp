// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/internal/Installation.h"

#include <array>
#include <atomic>
#include <cstddef>

namespace tidewell {
namespace {

/// By part. Constant-initialised, because the parts set theirs while the library is loaded.
constinit std::array<std::atomic<platform::InstallationHandler>, 2> handlers{{nullptr, nullptr}};

void callHandlers(const platform::Platform& installed) {
  for (const auto& each : handlers) {
    if (const platform::InstallationHandler handler = each.load(std::memory_order_acquire)) handler(installed);
  }
}

}  // namespace

void setInstallationHandler(InstallationPart part, platform::InstallationHandler handler) noexcept {
  handlers[static_cast<std::size_t>(part)].store(handler, std::memory_order_release);
  platform::setInstallationHandler(&callHandlers);
}

}  // namespace tidewell

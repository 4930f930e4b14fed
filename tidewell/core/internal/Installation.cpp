// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/internal/Installation.h"

#include <array>
#include <atomic>
#include <cstddef>

namespace tidewell {
namespace {

void ignore(const platform::Platform&) {}

/// By part. Constant-initialised, because the parts set theirs while the library is loaded.
constinit std::array<std::atomic<platform::InstallationHandler>, 2> handlers{{&ignore, &ignore}};

void callHandlers(const platform::Platform& installed) {
  for (const auto& handler : handlers) handler.load(std::memory_order_acquire)(installed);
}

}  // namespace

void setInstallationHandler(InstallationPart part, platform::InstallationHandler handler) noexcept {
  handlers[static_cast<std::size_t>(part)].store(handler, std::memory_order_release);
  platform::setInstallationHandler(&callHandlers);
}

}  // namespace tidewell

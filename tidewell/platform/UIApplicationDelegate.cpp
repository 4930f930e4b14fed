// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIApplicationDelegate.h"

#include "tidewell/base/internal/NeverDestroyed.h"

namespace tidewell::platform {

UIApplicationDelegate::~UIApplicationDelegate() = default;

const runtime::Protocol& UIApplicationDelegate::protocol() {
  static constinit std::atomic<const runtime::Protocol*> protocol{nullptr};
  return base::madeOnce(protocol, [] {
    runtime::Protocol made("UIApplicationDelegate");
    forEachMessage([&made](const auto& message, auto) { made.optional(message); });
    return std::make_unique<const runtime::Protocol>(std::move(made));
  });
}

}  // namespace tidewell::platform

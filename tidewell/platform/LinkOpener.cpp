// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/LinkOpener.h"

#include <utility>

#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

LinkOpener::~LinkOpener() = default;

bool NoLinkOpener::canOpenURL(const std::optional<base::Url>&) { return false; }

void NoLinkOpener::openURL(const base::Url&, OpenOptions, std::function<void(bool)> completion) {
  if (!completion) return;
  Platform::current().mainQueue().async([completion = std::move(completion)] { completion(false); });
}

bool NoLinkOpener::openURL(const base::Url&) { return false; }

}  // namespace tidewell::platform

// SPDX-License-Identifier: Apache-2.0
// The application's switch for the delegate proxy.

#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {

bool TWCoreUtils::isAppDelegateProxyEnabled() {
  const base::Dictionary info = platform::Platform::current().bundles().mainInfoDictionary();
  const base::Value value = info.objectForKey(getAppDelegateProxyInfoPlistKey());
  return !value.isNumber() || value.boolValue();
}

std::string TWCoreUtils::getAppDelegateProxyInfoPlistKey() { return "TidewellAppDelegateProxyEnabled"; }

}  // namespace tidewell

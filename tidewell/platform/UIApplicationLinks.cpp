// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/internal/HierarchyMutex.h"

namespace tidewell::platform {
namespace {

bool isSet(const base::Dictionary& options, std::string_view key) {
  const base::Value value = options.objectForKey(key);
  return value.isNumber() && value.boolValue();
}

}  // namespace

std::shared_ptr<UIWindow> UIApplication::keyWindow() const {
  const base::MutexLock lock(hierarchyMutex());
  return keyWindow_.lock();
}

void UIApplication::setKeyWindow(const std::shared_ptr<UIWindow>& window) {
  std::weak_ptr<UIWindow> next = window;  // swapped with the previous one, which is released after unlocking
  const base::MutexLock lock(hierarchyMutex());
  keyWindow_.swap(next);
}

bool UIApplication::canOpenURL(const std::optional<base::Url>& url) {
  return Platform::current().linkOpener().canOpenURL(url);
}

void UIApplication::openURL(const std::optional<base::Url>& url, const base::Dictionary& options,
                            const OpenURLCompletion& completionHandler) {
  Platform& platform = Platform::current();
  if (url) {
    const OpenOptions how{isSet(options, UIApplicationOpenURLOptionUniversalLinksOnly)};
    platform.linkOpener().openURL(*url, how, completionHandler);
  } else if (completionHandler) {
    platform.mainQueue().async([completionHandler] { completionHandler(false); });
  }
}

bool UIApplication::openURL(const std::optional<base::Url>& url) {
  return url && Platform::current().linkOpener().openURL(*url);
}

}  // namespace tidewell::platform

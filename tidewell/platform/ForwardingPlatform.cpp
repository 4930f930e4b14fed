// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/ForwardingPlatform.h"

#include <utility>

#include "tidewell/platform/UrlSession.h"

namespace tidewell::platform {

ForwardingPlatform::ForwardingPlatform(std::shared_ptr<Platform> to) : to_(std::move(to)) {}
ForwardingPlatform::~ForwardingPlatform() = default;

UserDefaults& ForwardingPlatform::standardUserDefaults() { return to_->standardUserDefaults(); }
std::shared_ptr<UserDefaults> ForwardingPlatform::userDefaultsWithSuiteName(std::string_view name) {
  return to_->userDefaultsWithSuiteName(name);
}
FileManager& ForwardingPlatform::fileManager() { return to_->fileManager(); }
Keychain& ForwardingPlatform::keychain() { return to_->keychain(); }
Device& ForwardingPlatform::device() { return to_->device(); }
Bundles& ForwardingPlatform::bundles() { return to_->bundles(); }
Clock& ForwardingPlatform::clock() { return to_->clock(); }
Console& ForwardingPlatform::console() { return to_->console(); }
Queue& ForwardingPlatform::mainQueue() { return to_->mainQueue(); }
Queue& ForwardingPlatform::globalQueue() { return to_->globalQueue(); }
std::shared_ptr<UrlSession> ForwardingPlatform::makeUrlSession(UrlSessionConfiguration configuration) {
  return to_->makeUrlSession(std::move(configuration));
}
UrlSession& ForwardingPlatform::sharedUrlSession() { return to_->sharedUrlSession(); }
bool ForwardingPlatform::hasModernLinkOpening() const { return to_->hasModernLinkOpening(); }
LinkOpener& ForwardingPlatform::linkOpener() { return to_->linkOpener(); }
Presenter& ForwardingPlatform::presenter() { return to_->presenter(); }
const Policy& ForwardingPlatform::policy() const { return to_->policy(); }

}  // namespace tidewell::platform

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

/// Forwards every call to another platform. Base class for platforms that change parts of an existing one:
/// override what differs.
///
/// Shares ownership of the other platform and releases it after the derived class's members. Thread-safe if
/// the other platform is.
class TIDEWELL_EXPORT ForwardingPlatform : public Platform {
 public:
  /// `to` must not be null.
  explicit ForwardingPlatform(std::shared_ptr<Platform> to);
  ~ForwardingPlatform() override;

  [[nodiscard]] UserDefaults& standardUserDefaults() override;
  [[nodiscard]] std::shared_ptr<UserDefaults> userDefaultsWithSuiteName(std::string_view name) override;
  [[nodiscard]] FileManager& fileManager() override;
  [[nodiscard]] Keychain& keychain() override;
  [[nodiscard]] Device& device() override;
  [[nodiscard]] Bundles& bundles() override;
  [[nodiscard]] Clock& clock() override;
  [[nodiscard]] Console& console() override;
  [[nodiscard]] Queue& mainQueue() override;
  [[nodiscard]] Queue& globalQueue() override;
  [[nodiscard]] std::shared_ptr<UrlSession> makeUrlSession(UrlSessionConfiguration configuration) override;
  [[nodiscard]] UrlSession& sharedUrlSession() override;
  [[nodiscard]] bool hasModernLinkOpening() const override;
  [[nodiscard]] LinkOpener& linkOpener() override;
  [[nodiscard]] Presenter& presenter() override;
  [[nodiscard]] const Policy& policy() const override;

 private:
  const std::shared_ptr<Platform> to_;
};

}  // namespace tidewell::platform

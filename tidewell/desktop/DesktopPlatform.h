// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/desktop/Options.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/posix/PosixPlatform.h"

namespace tidewell::desktop {

/// The platform of GUI applications on Linux: GTK 4 windows, the desktop's programs, and its keyring.
///
/// Installed once, on the thread that runs GLib's default main context, and never destroyed. Everything but
/// links, pages, alerts, screen, main queue and keychain comes from `posix`. Shows nothing without a display.
class TIDEWELL_EXPORT DesktopPlatform final : public platform::ForwardingPlatform {
 public:
  explicit DesktopPlatform(Options options);
  ~DesktopPlatform() override;

  [[nodiscard]] platform::Keychain& keychain() override;
  [[nodiscard]] platform::LinkOpener& linkOpener() override;
  [[nodiscard]] platform::Presenter& presenter() override;
  /// See `posix::PosixPlatform::isDisabled`.
  [[nodiscard]] bool isDisabled() const;

  /// To be called by the host when the application enters or leaves the foreground. Posts the notification on
  /// the main queue.
  void enterForeground();
  void enterBackground();

 private:
  struct State;
  DesktopPlatform(Options options, const std::shared_ptr<posix::PosixPlatform>& base);
  std::unique_ptr<State> state_;
};

/// Creates and installs the platform, with a key window whose root controller represents the application's
/// GTK windows: items presented on it appear above the active window. Otherwise as `posix::install`.
TIDEWELL_EXPORT DesktopPlatform* install(Options options);

}  // namespace tidewell::desktop

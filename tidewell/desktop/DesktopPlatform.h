// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/posix/PosixPlatform.h"

namespace tidewell::desktop {

/// Settings given once, at installation.
struct Options {
  /// The application's identity and all options of the headless platform. `mainLoop` is ignored: GLib drains
  /// the main queue. A `linkOpener` replaces the desktop's. `caFile` and `proxy` also apply to the in-app
  /// browser, which trusts the file's certificates in addition to the system's.
  posix::Options posix;
  /// Whether foreground and background follow the application's GTK windows. A host that uses another toolkit
  /// sets false and calls `enterForeground` and `enterBackground`.
  bool followsWindows = true;
  /// Whether keychain items are stored in the session's Secret Service; false uses the file of `posix`.
  bool usesSecretService = true;
  /// The time in seconds after which the in-app browser stops loading a page that has not shown anything.
  double pageTimeout = 60.0;
};

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
/// GTK windows: items presented on it appear above the active window. Returns null, and writes the reason to
/// standard error, if `posix::install` would refuse the options.
TIDEWELL_EXPORT DesktopPlatform* install(Options options);

}  // namespace tidewell::desktop

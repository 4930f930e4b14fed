#pragma once

#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/posix/PosixPlatform.h"

namespace tidewell::desktop {

/// What a host says once, when it installs the platform.
struct Options {
  /// Who the application is, and everything that a headless program may say, too. `mainLoop` is not looked
  /// at: the main queue is GLib's. A `linkOpener` of the host's takes the place of the desktop's. `caFile`
  /// and `proxy` hold for the in-app browser, too: the file's certificates are trusted beside the system's.
  posix::Options posix;
  /// Whether foreground and background follow the application's GTK windows. A host that draws with something
  /// else says NO and calls `enterForeground` and `enterBackground`.
  bool followsWindows = true;
  /// Whether keychain items live in the session's Secret Service; NO keeps them in the file of `posix`.
  bool usesSecretService = true;
  /// A page of the in-app browser that has shown nothing for so many seconds is given up.
  double pageTimeout = 60.0;
};

/// A Linux application with a face: GTK 4 windows, the desktop's programs, its keyring.
///
/// Installed once, on the thread that runs GLib's default main context, and never destroyed. Everything but
/// links, pages, alerts, screen, main queue and keychain is `posix`'s. Without a display it shows nothing.
class TIDEWELL_EXPORT DesktopPlatform final : public platform::ForwardingPlatform {
 public:
  explicit DesktopPlatform(Options options);
  ~DesktopPlatform() override;

  [[nodiscard]] platform::Keychain& keychain() override;
  [[nodiscard]] platform::LinkOpener& linkOpener() override;
  [[nodiscard]] platform::Presenter& presenter() override;

  /// The host says that the application comes to the foreground or leaves it: the notification is posted on
  /// the main queue.
  void enterForeground();
  void enterBackground();

 private:
  struct State;
  DesktopPlatform(Options options, const std::shared_ptr<posix::PosixPlatform>& base);
  std::unique_ptr<State> state_;
};

/// Makes the platform and puts it in force, with a key window whose root controller stands for the
/// application's GTK windows: what is presented on it is shown above the active one. Null, with one line on
/// standard error that says why, where `posix::install` would refuse the options.
TIDEWELL_EXPORT DesktopPlatform* install(Options options);

}  // namespace tidewell::desktop

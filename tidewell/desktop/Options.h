// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "tidewell/base/Export.h"
#include "tidewell/posix/Options.h"

namespace tidewell::desktop {

/// Settings given once, at installation. A value that can grow, like `posix::Options`, whose rules hold here.
class TIDEWELL_EXPORT Options {
 public:
  Options();
  ~Options();
  Options(const Options& other);
  Options& operator=(const Options& other);
  Options(Options&& other) noexcept;  ///< leaves default options behind
  Options& operator=(Options&& other) noexcept;

  /// The application's identity and all options of the headless platform, to be changed in place. The main
  /// loop is ignored: GLib drains the main queue. A link opener replaces the desktop's. CA file and proxy
  /// also apply to the in-app browser, which trusts the file's certificates in addition to the system's.
  [[nodiscard]] posix::Options& posix();
  /// Whether foreground and background follow the application's GTK windows. A host that uses another toolkit
  /// sets false and calls `enterForeground` and `enterBackground`. Default: true.
  Options& setFollowsWindows(bool follows);
  /// Whether keychain items are stored in the session's Secret Service; false uses the file of `posix`.
  /// Default: true.
  Options& setUsesSecretService(bool uses);
  /// The time in seconds after which the in-app browser stops loading a page that has not shown anything.
  /// Default: 60.
  Options& setPageTimeout(double seconds);

  struct State;
  /// For the library itself.
  [[nodiscard]] const State& state() const noexcept;

 private:
  State& changed();

  std::unique_ptr<State> state_;  ///< null in options that were moved from
};

/// The same as `posix::complaintAbout`.
[[nodiscard]] TIDEWELL_EXPORT std::string complaintAbout(const Options& options);

}  // namespace tidewell::desktop

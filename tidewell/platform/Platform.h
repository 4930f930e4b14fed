// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Bundle.h"
#include "tidewell/platform/Clock.h"
#include "tidewell/platform/Console.h"
#include "tidewell/platform/Device.h"
#include "tidewell/platform/Keychain.h"
#include "tidewell/platform/Policy.h"
#include "tidewell/platform/Queue.h"
#include "tidewell/platform/UserDefaults.h"

namespace tidewell::platform {

// Callers include these headers themselves.
class FileManager;
class LinkOpener;
class Presenter;
class UrlSession;
struct UrlSessionConfiguration;

/// Everything that the SDK requires of the system it runs on.
///
/// The host installs one before it starts the SDK; it is never destroyed. Until then `current()` is an empty
/// platform: no files, no defaults, no network (tasks fail), no queues (functions are dropped), a silent
/// console, the real clock. Every operation may be called from any thread.
class TIDEWELL_EXPORT Platform {
 public:
  virtual ~Platform();

  /// The installed platform, or the empty one. Never fails.
  [[nodiscard]] static Platform& current();
  /// Installs a platform for the rest of the process. If one is installed already, keeps that one, announces
  /// that, releases the argument and returns false. Also false for null.
  static bool install(std::shared_ptr<Platform> platform);
  [[nodiscard]] static bool isInstalled();
  /// Keeps a platform for the rest of the process without making it the current one.
  static void keep(std::shared_ptr<Platform> platform);
  /// Replaces the installed platform. For tests that simulate several process lifetimes in one process.
  static void replaceForTesting(std::shared_ptr<Platform> platform);

  /// The application's own defaults domain.
  [[nodiscard]] virtual UserDefaults& standardUserDefaults() = 0;
  /// The defaults domain of an application group; null if there is no such group. Returns the same object for
  /// the same name.
  [[nodiscard]] virtual std::shared_ptr<UserDefaults> userDefaultsWithSuiteName(std::string_view name) = 0;
  [[nodiscard]] virtual FileManager& fileManager() = 0;
  [[nodiscard]] virtual Keychain& keychain() = 0;
  [[nodiscard]] virtual Device& device() = 0;
  [[nodiscard]] virtual Bundles& bundles() = 0;
  [[nodiscard]] virtual Clock& clock() = 0;
  [[nodiscard]] virtual Console& console() = 0;
  [[nodiscard]] virtual Queue& mainQueue() = 0;
  [[nodiscard]] virtual Queue& globalQueue() = 0;
  [[nodiscard]] virtual std::shared_ptr<UrlSession> makeUrlSession(UrlSessionConfiguration configuration) = 0;
  /// The process-wide session with the platform's default time-outs. Tasks of all sessions fail with
  /// `refusalError` while `networkAccess` is not `allowed`; the platform enforces that.
  [[nodiscard]] virtual UrlSession& sharedUrlSession() = 0;

  /// Whether links are opened with the API introduced in iOS 10. A separate setting, never derived from a
  /// version.
  [[nodiscard]] virtual bool hasModernLinkOpening() const { return true; }
  /// Opens URLs in other programs. The default opens none.
  [[nodiscard]] virtual LinkOpener& linkOpener();
  /// Shows alerts and web pages. The default shows none.
  [[nodiscard]] virtual Presenter& presenter();

  /// A part of the platform that is not listed above: a pointer to the interface of that name, or null if the
  /// platform has no such part. Valid as long as the platform.
  ///
  /// A host's platform may have been compiled against earlier headers, so minor versions add no virtual
  /// functions here or to the parts. They request further interfaces by name, and do without one that is
  /// missing. This version requests none. The default returns null.
  [[nodiscard]] virtual void* extension(std::string_view name);
  /// The settings chosen at installation; constant once the platform is installed. The default restricts
  /// nothing.
  [[nodiscard]] virtual const Policy& policy() const;
};

/// Conditions under which the SDK cannot work at all.
enum class Trouble : std::uint8_t {
  noNetworkModule,
  noCertificates,
  noContainer,
  secondPlatform,
  noUnicodeModule
};
inline constexpr std::string_view kSecondPlatform = "not installed: a platform is installed already";
/// Writes a line to the console of the current platform whatever the log level, and at most once per process
/// for each kind of trouble. Returns whether this was the first time. Any thread, with no lock held; never
/// raises.
TIDEWELL_EXPORT bool announce(Trouble trouble, std::string_view text) noexcept;

/// Passes a report to the reporter (the logger), for errors that cannot be returned to a caller, such as a
/// full disk or a completion that raised. Any thread; never raises. Dropped if no reporter is set.
TIDEWELL_EXPORT void report(std::string_view text) noexcept;
using Reporter = void (*)(std::string_view text);
TIDEWELL_EXPORT void setReporter(Reporter reporter) noexcept;
/// Sets the function (of the logger) that is called with each platform that becomes the current one.
using InstallationHandler = void (*)(const Platform& installed);
TIDEWELL_EXPORT void setInstallationHandler(InstallationHandler handler) noexcept;

}  // namespace tidewell::platform

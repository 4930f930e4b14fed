#pragma once

#include <memory>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/platform/Bundle.h"
#include "tidewell/platform/Clock.h"
#include "tidewell/platform/Console.h"
#include "tidewell/platform/Device.h"
#include "tidewell/platform/Keychain.h"
#include "tidewell/platform/Queue.h"
#include "tidewell/platform/UserDefaults.h"

namespace tidewell::platform {

// A caller includes the headers of these itself.
class FileManager;
class LinkOpener;
class Presenter;
class UrlSession;
struct UrlSessionConfiguration;

/// Everything that the SDK asks of the system it runs on.
///
/// One is installed in a process, by the host, before it starts the SDK; it is never destroyed. Every
/// operation may be called from any thread. Until one is installed, `current()` is a machine that knows
/// nothing: no files, no defaults, no network (tasks fail), no queues (functions are dropped), a silent
/// console, the real clock.
class TIDEWELL_EXPORT Platform {
 public:
  virtual ~Platform();

  /// The platform in force. Never fails.
  [[nodiscard]] static Platform& current();
  /// Puts a platform in force for the rest of the process. The first one stays: a second call answers NO,
  /// reports so, and lets go of its argument.
  static bool install(std::shared_ptr<Platform> platform);
  [[nodiscard]] static bool isInstalled();
  /// Puts another platform in force although one is installed. For tests that live several lives in one
  /// process.
  static void replaceForTesting(std::shared_ptr<Platform> platform);

  /// The application's own domain.
  [[nodiscard]] virtual UserDefaults& standardUserDefaults() = 0;
  /// The domain of an application group; null where there is none of that name. The same object for the same
  /// name.
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
  /// The process-wide session with the platform's default time-outs.
  [[nodiscard]] virtual UrlSession& sharedUrlSession() = 0;

  /// Whether links are opened the way that came with iOS 10: a setting of its own, never derived from a
  /// version.
  [[nodiscard]] virtual bool hasModernLinkOpening() const { return true; }
  /// What hands URLs to other programs. A platform that says nothing else can open none.
  [[nodiscard]] virtual LinkOpener& linkOpener();
  /// What shows alerts and web pages. A platform that says nothing else shows nothing.
  [[nodiscard]] virtual Presenter& presenter();
};

/// Hands a sentence to whoever listens (the logger), from code that has no caller to tell: a full disk, a
/// completion that raised. Any thread; never raises. Before a reporter is set the sentence is dropped.
TIDEWELL_EXPORT void report(std::string_view text) noexcept;
using Reporter = void (*)(std::string_view text);
TIDEWELL_EXPORT void setReporter(Reporter reporter) noexcept;

}  // namespace tidewell::platform

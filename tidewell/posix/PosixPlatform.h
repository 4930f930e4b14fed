// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell::posix {

/// Redirects connections for one host and port to another address. Certificates are still checked against the
/// host's name.
struct ConnectionOverride {
  std::string host;
  std::uint16_t port = 443;
  std::string address;  ///< an IP address
  std::uint16_t toPort = 443;
};

/// Which thread drains the main queue.
enum class MainLoop {
  ownThread,  ///< a platform thread; the SDK's completions, delegate and interceptor calls run on it
  host,       ///< the host: see `PosixPlatform::mainQueueDescriptor`, `pollMainQueue`, `runMainQueue`
};

/// Settings given once, at installation. The environment variables (HOME, XDG_DATA_HOME, TZ, SSL_CERT_FILE,
/// SSL_CERT_DIR, and those for proxies) are also read then and never again; they are ignored in a process
/// with raised privileges.
struct Options {
  /// The application's CFBundleIdentifier and CFBundleShortVersionString. Required.
  std::string bundleIdentifier;
  std::string version;
  /// Further Info.plist values of the application. They take precedence over the file's.
  base::Dictionary infoDictionary;
  /// The path of a property list (XML or binary) with Info.plist values; "" uses "Info.plist" beside the
  /// executable, if it exists.
  std::string infoPlistPath;
  MainLoop mainLoop = MainLoop::ownThread;
  /// Receives the text of each log line instead of standard error, without time, program name and line feed.
  /// Called from any thread with no lock held; may log. Exceptions are swallowed.
  std::function<void(std::string_view text)> consoleSink;
  /// The path of a PEM file of trusted certificates, used instead of the system's.
  std::string caFile;
  /// A proxy in curl's syntax, used instead of the environment's; "-" for none.
  std::string proxy;
  /// The path of a PEM file of certificates trusted for an HTTPS proxy; "" uses the environment's or the
  /// system's. Independent of `caFile`: a proxy belongs to the network, not to the backend.
  std::string proxyCaFile;
  std::vector<ConnectionOverride> connectionOverrides;
  /// In bytes after decoding. Longer response bodies fail.
  std::size_t maximumBodyBytes = 16u << 20;
  bool modernLinkOpening = true;
  /// Opens links; null for none. Called as documented in `platform::LinkOpener`.
  std::shared_ptr<platform::LinkOpener> linkOpener;
  /// The screen size reported to the application; zero if headless.
  platform::ScreenSize screenSize;
  /// An absolute path, used instead of $XDG_DATA_HOME; "" uses the environment's.
  std::string dataHome;
  /// A prefix for the paths of system files (machine-id, os-release, hardware, time zone, trusted
  /// certificates), for sandboxes that mount them elsewhere; "" for none.
  std::string systemRoot;
};

/// The default platform: a headless program on Linux or another POSIX system.
///
/// Installed once and never destroyed. It starts at most four threads, on demand: two for transfers and their
/// completions, one for the global queue, and one for the main queue unless the host drains it. They are
/// named and block all signals. Any thread may call any operation.
///
/// In the child of a fork, everything that needs no thread keeps working: files, user defaults, keychain, and
/// a main queue drained by the host (initially empty: its functions remain with the parent). Functions for a
/// main queue drained by the library run on the thread that submits them; requests fail immediately.
class TIDEWELL_EXPORT PosixPlatform final : public platform::Platform {
 public:
  explicit PosixPlatform(Options options);
  ~PosixPlatform() override;

  [[nodiscard]] platform::UserDefaults& standardUserDefaults() override;
  [[nodiscard]] std::shared_ptr<platform::UserDefaults> userDefaultsWithSuiteName(
      std::string_view name) override;
  [[nodiscard]] platform::FileManager& fileManager() override;
  [[nodiscard]] platform::Keychain& keychain() override;
  [[nodiscard]] platform::Device& device() override;
  [[nodiscard]] platform::Bundles& bundles() override;
  [[nodiscard]] platform::Clock& clock() override;
  [[nodiscard]] platform::Console& console() override;
  [[nodiscard]] platform::Queue& mainQueue() override;
  [[nodiscard]] platform::Queue& globalQueue() override;
  [[nodiscard]] std::shared_ptr<platform::UrlSession> makeUrlSession(
      platform::UrlSessionConfiguration configuration) override;
  [[nodiscard]] platform::UrlSession& sharedUrlSession() override;
  [[nodiscard]] bool hasModernLinkOpening() const override;
  [[nodiscard]] platform::LinkOpener& linkOpener() override;
  [[nodiscard]] platform::Presenter& presenter() override;

  /// A file descriptor that is readable while the main queue has functions, for the host's own event loop. -1
  /// with `MainLoop::ownThread`, or if the system had no descriptor left.
  [[nodiscard]] int mainQueueDescriptor() const;
  /// Runs the functions that are on the main queue now, and returns their number. Returns 0 with
  /// `MainLoop::ownThread`, and while another thread drains the queue. The last thread to drain it counts as
  /// the main thread.
  std::size_t pollMainQueue();
  /// Drains the main queue on the calling thread for a duration, waiting for functions, and returns the
  /// number of those it ran. Returns 0 immediately with `MainLoop::ownThread`.
  std::size_t runMainQueue(std::chrono::milliseconds duration);

  /// To be called by the host when the application enters or leaves the foreground. Posts the notification on
  /// the main queue.
  void enterForeground();
  void enterBackground();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The reason why `install` refuses these options, as a phrase; "" if they are valid.
[[nodiscard]] TIDEWELL_EXPORT std::string complaintAbout(const Options& options);

/// Creates and installs the platform. Returns null, and writes the reason to standard error, if the bundle
/// identifier or version is missing, `dataHome` is not absolute, memory runs out, or a platform is installed
/// already (that one stays). A plug-in that calls this is never unloaded, because its completions may be
/// pending.
TIDEWELL_EXPORT PosixPlatform* install(Options options);

}  // namespace tidewell::posix

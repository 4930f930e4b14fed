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

/// Sends what is meant for one host and port to another address; certificates are still checked against the
/// host's name.
struct ConnectionOverride {
  std::string host;
  std::uint16_t port = 443;
  std::string address;  ///< an IP address
  std::uint16_t toPort = 443;
};

/// Who drains the main queue.
enum class MainLoop {
  ownThread,  ///< a thread of the platform's: completions, and delegate and interceptor calls that the SDK
              ///< starts, come on it
  host,       ///< the host: see `PosixPlatform::mainQueueDescriptor`, `pollMainQueue`, `runMainQueue`
};

/// What a host says once, when it installs the platform. The environment (HOME, XDG_DATA_HOME, TZ,
/// SSL_CERT_FILE, SSL_CERT_DIR, and the proxies' variables) is read at the same moment and never again; in a
/// process with raised rights it is not trusted.
struct Options {
  /// Of the application: CFBundleIdentifier and CFBundleShortVersionString. Required.
  std::string bundleIdentifier;
  std::string version;
  /// More values of the application's Info.plist; those in code win over those of the file.
  base::Dictionary infoDictionary;
  /// A property list (XML or binary) with Info.plist values; "" reads "Info.plist" beside the executable
  /// where there is one.
  std::string infoPlistPath;
  MainLoop mainLoop = MainLoop::ownThread;
  /// Called with the text of each log line in place of standard error, without time, program and line feed;
  /// from any thread, with no lock held; it may log. What it throws is swallowed.
  std::function<void(std::string_view text)> consoleSink;
  /// A file of trusted certificates (PEM) in place of the system's.
  std::string caFile;
  /// A proxy (curl's syntax) in place of the environment's; "-" for none at all.
  std::string proxy;
  /// A file of the certificates that an HTTPS proxy is trusted by; "" takes the environment's or the
  /// system's, whatever `caFile` says: a proxy is the network's, not the backend's.
  std::string proxyCaFile;
  std::vector<ConnectionOverride> connectionOverrides;
  /// Bodies of replies that are longer once decoded fail.
  std::size_t maximumBodyBytes = 16u << 20;
  bool modernLinkOpening = true;
  /// What opens links; null for a platform that opens none. Its operations are called as their comments say.
  std::shared_ptr<platform::LinkOpener> linkOpener;
  /// The screen that the application is told of; a headless one has none.
  platform::ScreenSize screenSize;
  /// An absolute path in place of $XDG_DATA_HOME; "" takes the environment's.
  std::string dataHome;
  /// Stands before the paths of the system's own files (machine-id, os-release, hardware, time zone, trusted
  /// certificates), where a sandbox shows them elsewhere; "" for none.
  std::string systemRoot;
};

/// The default platform: a headless program on Linux or another POSIX system.
///
/// Installed once and never destroyed. Its threads (at most four: transfers, session queues, global queue,
/// and main queue where the host has no loop) start at first need, are named and block all signals. Any
/// thread may call any operation.
///
/// In the child of a fork everything that needs no thread goes on working: files, user defaults, keychain,
/// and a main queue that the host drains (it begins empty: what waited is the parent's to run). What the
/// library's own thread would drain runs on the thread that brings it, requests fail at once.
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

  /// A descriptor that is readable while the main queue has work, for the host's own loop. -1 with
  /// `MainLoop::ownThread`, and where the system had no descriptor left.
  [[nodiscard]] int mainQueueDescriptor() const;
  /// Runs what is on the main queue now and returns. How many functions ran. Does nothing with
  /// `MainLoop::ownThread`, and while another thread drains the queue. The thread that drained it last is the
  /// main queue's.
  std::size_t pollMainQueue();
  /// Drains the main queue on the calling thread for a time, waiting for work. How many functions ran.
  /// Returns at once with `MainLoop::ownThread`.
  std::size_t runMainQueue(std::chrono::milliseconds duration);

  /// The host says that the application comes to the foreground or leaves it: the notification is posted on
  /// the main queue.
  void enterForeground();
  void enterBackground();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Why `install` refuses options, as half a sentence; "" for sound ones.
[[nodiscard]] TIDEWELL_EXPORT std::string complaintAbout(const Options& options);

/// Makes the platform and puts it in force. Null, with one line on standard error that says why, for options
/// without bundle identifier or version, for a `dataHome` that is not absolute, where memory is short, and
/// where a platform is installed already (the first one stays). A plug-in that calls it stays loaded when it
/// is closed, for its completions may be on their way.
TIDEWELL_EXPORT PosixPlatform* install(Options options);

}  // namespace tidewell::posix

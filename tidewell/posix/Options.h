// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Policy.h"
#include "tidewell/platform/Presenter.h"

namespace tidewell::posix {

using platform::ServiceHost;

/// Which thread drains the main queue.
enum class MainLoop {
  ownThread,  ///< a platform thread; the SDK's completions, delegate and interceptor calls run on it
  host,       ///< the host: see `PosixPlatform::mainQueueDescriptor`, `pollMainQueue`, `runMainQueue`
};

/// Settings given once, at installation:
///
///     tidewell::posix::install(
///         tidewell::posix::Options().setBundleIdentifier("org.example.shop").setVersion("1.2"));
///
/// The environment variables (HOME, XDG_DATA_HOME, TZ, SSL_CERT_FILE, SSL_CERT_DIR, those for proxies, and
/// TIDEWELL_…) are also read then and never again; they are ignored in a process with raised privileges. A
/// variable TIDEWELL_… with an invalid value is reported in one line and ignored.
///
/// A value: copies are independent. The fields are not part of the class, so that a later version can add
/// some without a host being compiled again. One thread at a time. Setters check nothing: see
/// `complaintAbout`.
class TIDEWELL_EXPORT Options {
 public:
  Options();
  ~Options();
  Options(const Options& other);
  Options& operator=(const Options& other);
  Options(Options&& other) noexcept;  ///< leaves default options behind
  Options& operator=(Options&& other) noexcept;

  /// The application's CFBundleIdentifier. Required.
  Options& setBundleIdentifier(std::string identifier);
  /// The application's CFBundleShortVersionString. Required.
  Options& setVersion(std::string version);
  /// Further Info.plist values of the application. They take precedence over the file's. Default: none.
  Options& setInfoDictionary(base::Dictionary values);
  /// The path of a property list (XML or binary) with Info.plist values. Default: "", which uses "Info.plist"
  /// beside the executable, if it exists when a value is first needed.
  Options& setInfoPlistPath(std::string path);

  /// Default: `MainLoop::ownThread`.
  Options& setMainLoop(MainLoop loop);
  /// Receives the text of each log line instead of standard error, without time, program name and line feed.
  /// Called from any thread with no lock held; may log. Exceptions are swallowed. Default: none.
  Options& setConsoleSink(std::function<void(std::string_view text)> sink);

  /// The path of a PEM file of trusted certificates, used instead of the system's. Default: "", the
  /// environment's or the system's.
  Options& setCaFile(std::string path);
  /// A proxy in curl's syntax, used instead of the environment's; "-" for none. Default: "", the
  /// environment's.
  Options& setProxy(std::string proxy);
  /// The path of a PEM file of certificates trusted for an HTTPS proxy. Independent of `setCaFile`: a proxy
  /// belongs to the network, not to the backend. Default: "", the environment's or the system's.
  Options& setProxyCaFile(std::string path);
  /// Redirects connections for one host and port to another port of an IP address. Certificates are still
  /// checked against the host's name. Replaces an earlier override of the same host and port. Default: none.
  Options& addConnectionOverride(std::string host, std::uint16_t port, std::string address,
                                 std::uint16_t toPort);
  /// In bytes after decoding. Longer response bodies fail. Default: 16 MiB.
  Options& setMaximumBodyBytes(std::size_t bytes);

  /// See `platform::Platform::hasModernLinkOpening`. Default: true.
  Options& setModernLinkOpening(bool isModern);
  /// Opens links. Called as documented in `platform::LinkOpener`. Default: null, which opens none.
  Options& setLinkOpener(std::shared_ptr<platform::LinkOpener> opener);
  /// The screen size reported to the application. Default: zero, for a headless program.
  Options& setScreenSize(platform::ScreenSize size);

  /// An absolute path, used instead of $XDG_DATA_HOME. Default: "", the environment's.
  Options& setDataHome(std::string path);
  /// A prefix for the paths of system files (machine-id, os-release, hardware, time zone, trusted
  /// certificates), for sandboxes that mount them elsewhere. Default: "".
  Options& setSystemRoot(std::string path);

  /// Whether the SDK is off: every operation answers as before installation, and the library writes no file
  /// or line, starts no thread and opens no socket. `install` returns a platform whose main queue can be
  /// polled, but which is not the current one. Default: not set, which leaves the decision to
  /// TIDEWELL_DISABLED; a value set here wins.
  Options& setDisabled(bool isDisabled);
  /// Whether all requests fail at once, without a socket, as on a machine without a network; the gates answer
  /// from the archive, and pages are not shown. Default: not set, which leaves the decision to
  /// TIDEWELL_OFFLINE; a value set here wins.
  Options& setOffline(bool isOffline);
  /// Whether nothing leaves the device until `TidewellCore::giveConsent`: requests fail at once, and pages
  /// are not shown. Default: false.
  Options& setConsentRequired(bool isRequired);
  /// Replaces a built-in host in all requests: a host name or an IPv4 address with an optional port
  /// ("staging.example.com", "localhost:8443"). Default: "", the built-in host.
  Options& setServiceHost(ServiceHost which, std::string host);
  /// Whether TIDEWELL_HOST_US, TIDEWELL_HOST_SERV3, TIDEWELL_HOST_EU and TIDEWELL_HOST_LOGS replace hosts,
  /// those of `setServiceHost` too. For development builds: the environment then decides where all data is
  /// sent. Default: false.
  Options& setHostsFromEnvironment(bool areUsed);

  struct State;
  /// For the library itself.
  [[nodiscard]] const State& state() const noexcept;

 private:
  State& changed();

  std::unique_ptr<State> state_;  ///< null in options that were moved from
};

/// The reason why `install` refuses these options: the option, its value and what would be right. "" if they
/// are valid. Looks at the files that the options name.
[[nodiscard]] TIDEWELL_EXPORT std::string complaintAbout(const Options& options);

}  // namespace tidewell::posix

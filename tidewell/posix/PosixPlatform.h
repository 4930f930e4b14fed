// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/Options.h"

namespace tidewell::posix {

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
  [[nodiscard]] const platform::Policy& policy() const override;

  /// Whether the options or the environment turned the SDK off. `install` then does not make this the current
  /// platform.
  [[nodiscard]] bool isDisabled() const;
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

/// Creates and installs the platform. Returns null, and writes the reason to standard error, if
/// `complaintAbout` has one or memory runs out; and null if a platform is installed already, which stays and
/// whose console gets one line. If the SDK is turned off, returns a platform whose main queue can be polled
/// and installs none. A plug-in that calls this is never unloaded, because its completions may be pending.
TIDEWELL_EXPORT PosixPlatform* install(Options options);

}  // namespace tidewell::posix

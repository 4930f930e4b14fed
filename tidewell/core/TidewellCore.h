// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string_view>

#include "tidewell/base/Data.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/core/TWConfigManager/SyncObservation.h"
#include "tidewell/core/TWConfigManager/SyncStatus.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/platform/NotificationCenter.h"

namespace tidewell {

/// The result of an image download. `success` means status 200 without an error; bytes received are passed on
/// in any case.
using TWImageCompletion = std::function<void(bool success, std::optional<base::Data> data)>;

/// The entry point of the SDK: install a platform, then call `initializeWithAppID` once at launch.
///
/// One instance per process, created on first use and never destroyed; any thread. No operation but
/// `waitForSync` waits for the network. Exceptions are caught and logged, except `std::bad_alloc` and those
/// of a host's own platform, which some operations propagate.
class TIDEWELL_EXPORT TidewellCore final {
 public:
  [[nodiscard]] static TidewellCore& sharedInstance();
  TidewellCore() = default;
  TidewellCore(const TidewellCore&) = delete;
  TidewellCore& operator=(const TidewellCore&) = delete;

  /// Starts the SDK: stores the App ID, observes the application, logs the service status, and syncs the
  /// configuration if that is due. An App ID other than the stored one is stored and announced with
  /// `kNotificationNameUserResetOnAppIDChange`, and the call ends there. A first start without an App ID is
  /// logged, and the call ends. Each further successful call adds another observation of the application.
  void initializeWithAppID(std::optional<std::string_view> appID);
  void addObserverForApplicationLifeCycle();
  void applicationEnteredForeground(const platform::Notification& notification);
  /// Makes the next configuration sync due.
  void userReset();
  /// Downloads and merges the configuration if that is due; returns immediately. `waitForSync` waits for the
  /// end.
  void updateConfig();

  /// The status of the last sync. Never waits: the first call reads a small file, later ones no file. Without
  /// a platform: `neverTried`. Syncs of the application's other processes are seen only by the next launch.
  [[nodiscard]] SyncStatus syncStatus();
  /// Calls `observer` on the main queue, with no lock held, after each change of the status, until the token
  /// is destroyed. Changes in quick succession may share one call. The observer may use all operations except
  /// waiting; it may also end observations and begin others. Its exceptions are reported. Ignores an empty
  /// function.
  [[nodiscard]] SyncObservation observeSync(std::function<void(const SyncStatus&)> observer);
  /// For programs that end soon: waits until the syncs under way have ended and their status is stored, at
  /// most for `timeout`. Returns immediately if none is in flight, as without a platform, in the child of a
  /// fork, or after `initializeWithAppID` found that none was due.
  ///
  /// Syncs end on the main queue. On its thread, on the global queue's, and in the completion of a transfer,
  /// the call returns an error instead of waiting. With `MainLoop::host` the main queue's thread is the one
  /// that drained it last; before that, the one that installed the platform.
  [[nodiscard]] SyncWait waitForSync(std::chrono::milliseconds timeout);

  /// Records the user's consent to requests, which is kept across launches, and starts the sync that waited
  /// for it. For a platform installed with `Options::setConsentRequired`: until then, requests, images, pages
  /// and shipped log lines are refused at once. Without that option, consent is recorded and has no effect.
  void giveConsent();
  /// Refuses new requests from now on. Requests that have started continue.
  void revokeConsent();
  /// Whether consent was given and not revoked since.
  [[nodiscard]] bool hasConsent();
  /// Sets the log level (`TWLogLevel`). Ignores other numbers. TIDEWELL_LOG in the environment takes
  /// precedence.
  void debug(std::int64_t level);
  /// Sends all further data to another data centre. Returns after writing the archive.
  void redirectDataToRegion(TWDataRegion region);
  /// Shares the request parameters with the application's extensions. Ignored while the account is inactive;
  /// ignores a missing or empty ID.
  void setAppGroupID(std::optional<std::string_view> appGroupID);
  [[nodiscard]] bool isDeviceUniqueIDPresentInKeyChain();
  /// Downloads bytes with the platform's shared session. Completes on that session's queue, except without a
  /// URL: then immediately, on the caller's thread.
  void downloadImageForURL(std::optional<base::Url> url, TWImageCompletion andCompletionHandler);
  /// Closes the most recently opened rich landing page, on the main queue. Does nothing if there is none.
  void dismissRichLandingWebViewControllerWithAnimation(bool animated);
};

}  // namespace tidewell

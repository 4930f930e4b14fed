#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "tidewell/base/Data.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/platform/NotificationCenter.h"

namespace tidewell {

/// How an image download ended: success is status 200 without an error; the bytes that came are handed over
/// in any case.
using TWImageCompletion = std::function<void(bool success, std::optional<base::Data> data)>;

/// The entry of the SDK: install a platform, then call `initializeWithAppID` once at launch.
///
/// One instance a process, made on first use and never destroyed; any thread. No operation waits for the
/// network, and no exception reaches the host.
class TIDEWELL_EXPORT TidewellCore final {
 public:
  [[nodiscard]] static TidewellCore& sharedInstance();
  TidewellCore() = default;
  TidewellCore(const TidewellCore&) = delete;
  TidewellCore& operator=(const TidewellCore&) = delete;

  /// Starts the SDK: stores the App ID, observes the application, logs the service status and syncs the
  /// configuration where that is due. Another App ID than the stored one is stored, announced with
  /// `kNotificationNameUserResetOnAppIDChange`, and ends the call. A first start without an App ID is logged
  /// and ends the call. Each further successful call observes the application once more.
  void initializeWithAppID(std::optional<std::string_view> appID);
  void addObserverForApplicationLifeCycle();
  void applicationEnteredForeground(const platform::Notification& notification);
  /// Makes the next configuration sync due.
  void userReset();
  /// Downloads and merges the configuration where that is due; returns at once.
  void updateConfig();
  void debug(std::int64_t level);
  /// Sends everything from now on to another data centre. Written to the archive before this returns.
  void redirectDataToRegion(TWDataRegion region);
  /// Shares the request parameters with the application's extensions. Only while the account is active; nil
  /// and "" are ignored.
  void setAppGroupID(std::optional<std::string_view> appGroupID);
  [[nodiscard]] bool isDeviceUniqueIDPresentInKeyChain();
  /// Fetches bytes on the platform's shared session. A nil URL completes at once on the caller's thread;
  /// everything else on that session's queue.
  void downloadImageForURL(std::optional<base::Url> url, TWImageCompletion andCompletionHandler);
  /// Closes the rich landing page that was opened last, on the main queue; nothing where there was none.
  void dismissRichLandingWebViewControllerWithAnimation(bool animated);
};

}  // namespace tidewell

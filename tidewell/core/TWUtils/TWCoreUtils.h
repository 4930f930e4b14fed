// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/base/Value.h"

namespace tidewell::platform {
class UIViewController;
}  // namespace tidewell::platform

namespace tidewell {

/// A colour; components range from 0 to 1. Complete: no version will add fields.
struct TWColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  friend bool operator==(const TWColor&, const TWColor&) = default;
};

/// Utilities of the core: identifiers and facts about application and device, links, the controllers on the
/// screen, and encoders of values for the backend.
///
/// Static functions only; callable from any thread unless noted. Facts come from the platform; no value if it
/// does not know one. Exceptions propagate, except from links, alerts and
/// `transformPayloadForIncompatibleTypes`.
class TIDEWELL_EXPORT TWCoreUtils final {
 public:
  TWCoreUtils() = delete;

  /// The SDK's own directory, "Tidewell" in the application's library directory; created if missing. No value
  /// if there is no library directory.
  [[nodiscard]] static std::optional<std::string> getSDKLibraryDirectoryPath();
  [[nodiscard]] static std::optional<std::string> getDocumentsDirectoryPath();

  // Savers write to disk immediately; a missing value removes the entry.
  static void saveAppId(std::optional<std::string_view> appId);
  [[nodiscard]] static std::optional<std::string> getTidewellAppId();
  static void saveDeviceToken(std::optional<std::string_view> deviceToken);
  [[nodiscard]] static std::optional<std::string> getDeviceToken();
  static void saveUniqueId(std::optional<std::string_view> uniqueId);
  [[nodiscard]] static std::optional<std::string> getUniqueId();

  /// The SDK's unique ID of this installation, created on first use. No value if there is no vendor
  /// identifier.
  [[nodiscard]] static std::optional<std::string> getSDKUniqueIdForUser();
  static std::optional<std::string> saveUniqueIdentifierForUser();
  [[nodiscard]] static std::optional<std::string> getIDFV();
  static void registerInstall();
  /// Whether any value is stored as the install flag.
  [[nodiscard]] static bool installRegistered();

  [[nodiscard]] static std::optional<std::string> appVersion();
  [[nodiscard]] static std::optional<std::string> bundleIdentifier();
  /// The version of the SDK's own bundle.
  [[nodiscard]] static std::optional<std::string> getTidewellSDKVersion();
  [[nodiscard]] static std::optional<std::string> getDeviceModel();
  [[nodiscard]] static std::optional<std::string> getDeviceLocalizedModel();
  [[nodiscard]] static std::optional<std::string> getDeviceSystemVersion();
  [[nodiscard]] static std::optional<std::string> getDeviceUniqueID();
  /// The marketing name of the device; "Unknown" for an unknown family.
  [[nodiscard]] static std::string getDeviceName();

  // Links of campaigns. Each function returns before anything is opened and reports results to the log only.
  // Whether a URL can be opened is checked on the caller's thread; everything else happens on the main queue.
  // A missing URL is passed to the platform, which cannot open it.

  /// Opens a URL that the system can open, with the application that claims it as a universal link, otherwise
  /// with its ordinary handler; on systems before iOS 10 as `openDeeplinkBelowiOS10` does.
  static void openDeeplink(std::optional<base::Url> url);
  /// The behaviour of systems before iOS 10: "http" and "https" (lower case) go to the application itself
  /// (`openUniversalLink`), all others to `openCustomUrlLink`.
  static void openDeeplinkBelowiOS10(std::optional<base::Url> url);
  /// Passes the URL to the application's delegate as a web-browsing activity, even if the system cannot open
  /// it. If the delegate does not handle activities, opens it as `openCustomUrlLink` does.
  static void openUniversalLink(std::optional<base::Url> url);
  /// Opens a URL that the system can open, with its ordinary handler.
  static void openCustomUrlLink(std::optional<base::Url> url);
  /// Shows a web page in the in-app browser (`TWWebViewHandler`).
  static void openRichLandingLink(std::optional<base::Url> url);

  // The controllers on the screen. Main thread only, also for the alert.

  /// The controller that should present something new: the last one in the key window's chain before any
  /// alert, inside navigation and tab bar controllers. Without a key window, starts at the root of the window
  /// of the application's delegate; null if there is none.
  [[nodiscard]] static std::shared_ptr<platform::UIViewController> getTopMostPresentedViewController();
  /// The same without looking inside navigation and tab bar controllers.
  [[nodiscard]] static std::shared_ptr<platform::UIViewController> getTopMostViewController();
  /// Shows an alert with a single button, "OK", on `getTopMostViewController`.
  static void showAlertViewWithMessage(std::optional<std::string_view> message,
                                       std::optional<std::string_view> andTitle);
  /// The size of the main screen in its current orientation, in points (logical pixels); 0 without a screen.
  [[nodiscard]] static double deviceScreenWidth();
  [[nodiscard]] static double deviceScreenHeight();

  /// The first 32 bytes (the size of a push token), or fewer if there are fewer, as lower-case hexadecimal
  /// digits. "" without data.
  [[nodiscard]] static std::string hexTokenForData(const std::optional<base::Data>& data);
  /// The MD5 digest of the UTF-8 bytes before the first NUL, as 32 lower-case hexadecimal digits. A
  /// missing text counts as "".
  [[nodiscard]] static std::string MD5hashForString(std::optional<std::string_view> string);
  /// Pretty-printed JSON. No value without a dictionary, and (with a log line) for one that JSON cannot
  /// represent.
  [[nodiscard]] static std::optional<std::string> getJSONStringFromDictionary(
      const std::optional<base::Dictionary>& dictionary);
  /// The opaque colour of a text such as "#FF8000". Skips the first character, whatever it is, and uses the
  /// low 24 bits of the hexadecimal number after it; short forms are not expanded. Black without a text,
  /// for "", and for a text without a number.
  [[nodiscard]] static TWColor getColorFromHexValue(std::optional<std::string_view> hexValue);
  /// Whether the first text contains the second, bytewise. A missing first text contains everything; an empty
  /// or missing second text is not contained.
  [[nodiscard]] static bool checkIfString(std::optional<std::string_view> string,
                                          std::optional<std::string_view> containsString);
  /// A copy with values that JSON cannot represent replaced, also in nested dictionaries: data by
  /// `hexTokenForData`, URLs by their text, null by "", dates by milliseconds since 1970. Arrays are copied
  /// unchanged. Dictionaries nested deeper than `base::kMaximumJsonDepth` are logged (line 529) and replaced
  /// by empty ones.
  [[nodiscard]] static base::Dictionary transformPayloadForIncompatibleTypes(const base::Dictionary& payload);
  [[nodiscard]] static std::string helveticaFont();

  /// Whether the application's delegate may be proxied: true unless the main bundle's Info.plist has a number
  /// or boolean that is false for the key below. A text does not count as a number.
  [[nodiscard]] static bool isAppDelegateProxyEnabled();
  /// "TidewellAppDelegateProxyEnabled".
  [[nodiscard]] static std::string getAppDelegateProxyInfoPlistKey();
};

}  // namespace tidewell

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

/// A colour, each component from 0 to 1.
struct TWColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  friend bool operator==(const TWColor&, const TWColor&) = default;
};

/// Utilities of the core: identifiers and facts of application and device, links and what is on the screen,
/// and encoders of values for the backend.
///
/// Class operations only; any thread, where nothing else is said. Facts come from the platform; nil where the
/// platform does not know one. They do not catch, links, alerts and `transformPayloadForIncompatibleTypes`
/// apart.
class TIDEWELL_EXPORT TWCoreUtils final {
 public:
  TWCoreUtils() = delete;

  /// The SDK's own directory, "Tidewell" in the application's Library; made where it is missing. nil where
  /// there is no Library.
  [[nodiscard]] static std::optional<std::string> getSDKLibraryDirectoryPath();
  [[nodiscard]] static std::optional<std::string> getDocumentsDirectoryPath();

  // Each saver writes through to the disk; nil removes the entry.
  static void saveAppId(std::optional<std::string_view> appId);
  [[nodiscard]] static std::optional<std::string> getTidewellAppId();
  static void saveDeviceToken(std::optional<std::string_view> deviceToken);
  [[nodiscard]] static std::optional<std::string> getDeviceToken();
  static void saveUniqueId(std::optional<std::string_view> uniqueId);
  [[nodiscard]] static std::optional<std::string> getUniqueId();

  /// The SDK's unique id for this installation, made on first use. nil where there is no vendor identifier.
  [[nodiscard]] static std::optional<std::string> getSDKUniqueIdForUser();
  static std::optional<std::string> saveUniqueIdentifierForUser();
  [[nodiscard]] static std::optional<std::string> getIDFV();
  static void registerInstall();
  /// Whether anything at all is stored as the install flag.
  [[nodiscard]] static bool installRegistered();

  [[nodiscard]] static std::optional<std::string> appVersion();
  [[nodiscard]] static std::optional<std::string> bundleIdentifier();
  /// The version of the SDK's own bundle.
  [[nodiscard]] static std::optional<std::string> getTidewellSDKVersion();
  [[nodiscard]] static std::optional<std::string> getDeviceModel();
  [[nodiscard]] static std::optional<std::string> getDeviceLocalizedModel();
  [[nodiscard]] static std::optional<std::string> getDeviceSystemVersion();
  [[nodiscard]] static std::optional<std::string> getDeviceUniqueID();
  /// The marketing name of the device; "Unknown" where its family is not known.
  [[nodiscard]] static std::string getDeviceName();

  // Links of campaigns. Each returns before anything is opened, and tells what came of it to the log only.
  // Whether a URL can be opened is asked on the caller's thread; everything else happens on the main queue.
  // No URL: what the platform says that it can do with it, which is nothing.

  /// Opens a URL that the system can open, with the application that claims it as a universal link, else with
  /// its ordinary handler; on systems before iOS 10 as `openDeeplinkBelowiOS10` does.
  static void openDeeplink(std::optional<base::Url> url);
  /// The choice of systems before iOS 10: "http" and "https", in small letters, go to the application itself
  /// (`openUniversalLink`), all others to `openCustomUrlLink`.
  static void openDeeplinkBelowiOS10(std::optional<base::Url> url);
  /// Hands the URL to the application's delegate as the activity of browsing the web, whether or not the
  /// system could open it; opens it as `openCustomUrlLink` does where the delegate takes no activities.
  static void openUniversalLink(std::optional<base::Url> url);
  /// Opens a URL that the system can open with its ordinary handler.
  static void openCustomUrlLink(std::optional<base::Url> url);
  /// Shows a web page in the in-app browser (`TWWebViewHandler`).
  static void openRichLandingLink(std::optional<base::Url> url);

  // What is on the screen. Main thread, and so is the alert.

  /// The controller on which something new is to be presented: the last one of the key window's chain that is
  /// no alert, with navigation and tab bar controllers unwrapped. Without a key window the root of the
  /// application delegate's window; null where there is none either.
  [[nodiscard]] static std::shared_ptr<platform::UIViewController> getTopMostPresentedViewController();
  /// The same with nothing unwrapped.
  [[nodiscard]] static std::shared_ptr<platform::UIViewController> getTopMostViewController();
  /// Shows an alert with one button, "OK", on `getTopMostViewController`.
  static void showAlertViewWithMessage(std::optional<std::string_view> message,
                                       std::optional<std::string_view> andTitle);
  /// Of the main screen as it is turned now, in points (logical pixels); 0 where there is no screen.
  [[nodiscard]] static double deviceScreenWidth();
  [[nodiscard]] static double deviceScreenHeight();

  /// The first 32 bytes, the size of a push token, as lower-case hexadecimal digits; fewer where there are
  /// fewer. "" for nil.
  [[nodiscard]] static std::string hexTokenForData(const std::optional<base::Data>& data);
  /// The MD5 digest of the UTF-8 bytes up to the first NUL, as 32 lower-case hexadecimal digits. nil counts
  /// as the empty text.
  [[nodiscard]] static std::string MD5hashForString(std::optional<std::string_view> string);
  /// Pretty-printed JSON. nil for nil, and (logged) for a dictionary that JSON cannot carry.
  [[nodiscard]] static std::optional<std::string> getJSONStringFromDictionary(
      const std::optional<base::Dictionary>& dictionary);
  /// The opaque colour of a text like "#FF8000". The first character is skipped whatever it is; the low 24
  /// bits of the hexadecimal number that follows count, so short forms are not expanded. Black for an empty
  /// or nil text, and where there is no number.
  [[nodiscard]] static TWColor getColorFromHexValue(std::optional<std::string_view> hexValue);
  /// Whether the second text occurs in the first, byte for byte. A nil first text contains everything; an
  /// empty or nil second one is not contained.
  [[nodiscard]] static bool checkIfString(std::optional<std::string_view> string,
                                          std::optional<std::string_view> containsString);
  /// A copy with what JSON cannot carry replaced, in nested dictionaries, too: data by `hexTokenForData`,
  /// URLs by their text, null by "", dates by their milliseconds since 1970. Arrays stay as they are.
  /// Dictionaries nested deeper than `base::kMaximumJsonDepth` are logged (line 529) and come out empty.
  [[nodiscard]] static base::Dictionary transformPayloadForIncompatibleTypes(const base::Dictionary& payload);
  [[nodiscard]] static std::string helveticaFont();

  /// Whether the application's delegate may be proxied: YES unless the main bundle's Info.plist holds a
  /// number or boolean that is false under the key below. A text there is no number.
  [[nodiscard]] static bool isAppDelegateProxyEnabled();
  /// "TidewellAppDelegateProxyEnabled".
  [[nodiscard]] static std::string getAppDelegateProxyInfoPlistKey();
};

}  // namespace tidewell

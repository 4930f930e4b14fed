#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tidewell/platform/LinkOpener.h"

namespace tidewell::desktop {

/// The key of a desktop file with the hosts whose web links its application opens, as a list:
///
///     X-Tidewell-UniversalLinks=shop.example;tickets.example;
inline constexpr const char* kUniversalLinksKey = "X-Tidewell-UniversalLinks";

/// Opens links with the programs that the desktop knows: the handler of the scheme that the user chose or the
/// system prefers, and for universal links the application that claims the host.
///
/// GIO starts the program that the desktop file names with the URL as one of its arguments (or calls it over
/// D-Bus); no shell sees it. Schemes that lead into this machine or run text as a program are never opened:
/// links come from campaigns.
class GioLinkOpener final : public platform::LinkOpener {
 public:
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url) override;
  void openURL(const base::Url& url, platform::OpenOptions options,
               std::function<void(bool)> completion) override;
  bool openURL(const base::Url& url) override;
};

/// The scheme in lower case where it is one of those that other programs may be given.
[[nodiscard]] std::optional<std::string> openableScheme(const base::Url& url);

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tidewell/platform/LinkOpener.h"

namespace tidewell::desktop {

/// A key in desktop files that lists the hosts whose web links the application opens:
///
///     X-Tidewell-UniversalLinks=shop.example;tickets.example;
inline constexpr const char* kUniversalLinksKey = "X-Tidewell-UniversalLinks";

/// Opens links with the desktop's programs: the scheme's handler as chosen by the user or the system, and for
/// universal links the application that claims the host.
///
/// GIO starts the program named in the desktop file with the URL as an argument (or calls it over D-Bus),
/// without a shell. Since links come from campaigns, schemes that refer to the local machine or execute text
/// are never opened.
class GioLinkOpener final : public platform::LinkOpener {
 public:
  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url) override;
  void openURL(const base::Url& url, platform::OpenOptions options,
               std::function<void(bool)> completion) override;
  bool openURL(const base::Url& url) override;
};

/// The scheme in lower case, if URLs with it may be passed to other programs.
[[nodiscard]] std::optional<std::string> openableScheme(const base::Url& url);

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Error.h"

namespace tidewell::posix {

/// More than any valid chain needs; stops loops.
inline constexpr int kMaximumRedirects = 20;

/// Whether a status is a redirect (if the reply names a location).
[[nodiscard]] bool isRedirect(long status);

/// The method of the next request: 303 turns every method but HEAD into GET, and 301 and 302 do so for POST;
/// 307 and 308 keep the method. A request whose method changes loses its body.
[[nodiscard]] std::string methodAfterRedirect(long status, const std::string& method);

/// Whether two absolute URLs have the same scheme, host and port.
[[nodiscard]] bool haveSameOrigin(const std::string& a, const std::string& b);

/// Why a session must not request a URL: an unsupported scheme, or an invalid URL.
[[nodiscard]] std::optional<base::Error> refusal(const std::string& url, bool httpsOnly);

/// Whether a header must not be sent to another server: those for authorisation, and the host's own cookies.
[[nodiscard]] bool isHeaderOfAuthorisation(std::string_view name);

}  // namespace tidewell::posix

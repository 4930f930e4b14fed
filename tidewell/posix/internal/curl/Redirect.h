#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Error.h"

namespace tidewell::posix {

/// More than anybody needs; a loop ends here.
inline constexpr int kMaximumRedirects = 20;

/// Whether a status sends the client on to another place (where the reply names one).
[[nodiscard]] bool isRedirect(long status);

/// The method that goes with the next request: 303 makes everything but HEAD a GET, and so do 301 and 302 a
/// POST; 307 and 308 keep what was asked. The body goes where the method changed.
[[nodiscard]] std::string methodAfterRedirect(long status, const std::string& method);

/// Whether two absolute URLs lead to the same server: scheme, host and port.
[[nodiscard]] bool haveSameOrigin(const std::string& a, const std::string& b);

/// Why a session must not go to a URL: a scheme it does not take, or no URL at all.
[[nodiscard]] std::optional<base::Error> refusal(const std::string& url, bool httpsOnly);

/// Whether a header may not travel to another server: those of authorisation, and cookies of the host's own.
[[nodiscard]] bool isHeaderOfAuthorisation(std::string_view name);

}  // namespace tidewell::posix

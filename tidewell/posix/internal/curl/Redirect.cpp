// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/Redirect.h"

#include <curl/curl.h>

#include <memory>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/internal/UrlErrors.h"

namespace tidewell::posix {
namespace {

using base::detail::equalsIgnoringCase;

/// The components of an absolute URL, as libcurl parses it.
class ParsedUrl {
 public:
  explicit ParsedUrl(const std::string& url) : handle_(curl_url(), curl_url_cleanup) {
    constexpr unsigned int flags = CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS;
    valid_ =
        handle_ != nullptr && curl_url_set(handle_.get(), CURLUPART_URL, url.c_str(), flags) == CURLUE_OK;
  }

  [[nodiscard]] bool valid() const { return valid_; }
  [[nodiscard]] std::string part(CURLUPart part) const {
    char* text = nullptr;
    if (!valid_ || curl_url_get(handle_.get(), part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
    const std::unique_ptr<char, void (*)(void*)> owner(text, curl_free);
    return text;
  }

 private:
  std::unique_ptr<CURLU, void (*)(CURLU*)> handle_;
  bool valid_ = false;
};

}  // namespace

bool isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

std::string methodAfterRedirect(long status, const std::string& method) {
  const bool becomesGet =
      (status == 303 && method != "HEAD") || ((status == 301 || status == 302) && method == "POST");
  return becomesGet ? "GET" : method;
}

bool haveSameOrigin(const std::string& a, const std::string& b) {
  const ParsedUrl left(a);
  const ParsedUrl right(b);
  if (!left.valid() || !right.valid()) return false;
  for (const CURLUPart part : {CURLUPART_SCHEME, CURLUPART_HOST, CURLUPART_PORT}) {
    if (!equalsIgnoringCase(left.part(part), right.part(part))) return false;
  }
  return true;
}

std::optional<base::Error> refusal(const std::string& url, bool httpsOnly) {
  const std::string scheme = url.substr(0, url.find(':'));
  const bool accepted =
      equalsIgnoringCase(scheme, "https") || (equalsIgnoringCase(scheme, "http") && !httpsOnly);
  if (!accepted) return urlError(platform::kUrlErrorUnsupportedUrl);
  if (!ParsedUrl(url).valid()) return urlError(platform::kUrlErrorBadUrl);
  return std::nullopt;
}

bool isHeaderOfAuthorisation(std::string_view name) {
  for (const char* header : {"Authorization", "Cookie", "Proxy-Authorization"}) {
    if (equalsIgnoringCase(name, header)) return true;
  }
  return false;
}

}  // namespace tidewell::posix

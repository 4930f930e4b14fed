// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/curl/CurlErrors.h"

#include <cerrno>
#include <cstdint>
#include <string>

#include "tidewell/platform/UrlSession.h"
#include "tidewell/posix/internal/UrlErrors.h"

namespace tidewell::posix {
namespace {

std::int64_t codeOfFailedConnect(CURL* handle) {
  long error = 0;
  curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &error);
  return error == ENETUNREACH || error == ENETDOWN ? platform::kUrlErrorNotConnectedToInternet
                                                   : platform::kUrlErrorCannotConnectToHost;
}

/// Whether a proxy refused a tunnel, which libcurl reports like a lost connection.
bool wasRefusedByProxy(CURL* handle) {
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_HTTP_CONNECTCODE, &status);
  return status >= 300;
}

/// libcurl limits header lines (to 100 KB) and reports a longer one as "out of memory". After the start of a
/// reply that is by far the likelier cause.
bool isAboutHeader(CURL* handle) {
  curl_off_t began = 0;
  curl_easy_getinfo(handle, CURLINFO_STARTTRANSFER_TIME_T, &began);
  return began > 0;
}

std::int64_t codeOf(CURLcode code, CURL* handle) {
  switch (code) {
    case CURLE_URL_MALFORMAT:
      return platform::kUrlErrorBadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return platform::kUrlErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return codeOfFailedConnect(handle);
    case CURLE_PROXY:
      return platform::kUrlErrorCannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return platform::kUrlErrorTimedOut;
    case CURLE_PEER_FAILED_VERIFICATION:
      return platform::kUrlErrorServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CLIENTCERT:
      return platform::kUrlErrorSecureConnectionFailed;
    case CURLE_RECV_ERROR:
      return wasRefusedByProxy(handle) ? platform::kUrlErrorCannotConnectToHost
                                       : platform::kUrlErrorNetworkConnectionLost;
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
      return platform::kUrlErrorNetworkConnectionLost;
    case CURLE_UNSUPPORTED_PROTOCOL:  // a reply that is not HTTP: schemes were checked before
    case CURLE_WEIRD_SERVER_REPLY:
      return platform::kUrlErrorBadServerResponse;
    case CURLE_BAD_CONTENT_ENCODING:
      return platform::kUrlErrorCannotDecodeContentData;
    case CURLE_OUT_OF_MEMORY:
      return isAboutHeader(handle) ? platform::kUrlErrorDataLengthExceedsMaximum : platform::kUrlErrorUnknown;
    default:
      return platform::kUrlErrorUnknown;
  }
}

std::string named(const std::string& file, const std::string& directory) {
  if (file.empty() && directory.empty()) return "no CA file was found";
  std::string text;
  if (!file.empty()) text = "CA file " + file;
  if (!directory.empty()) text.append(text.empty() ? "" : ", ").append("CA folder ").append(directory);
  return text;
}

/// The CA files used for the certificate that failed, a proxy's or the server's.
std::string trustedCertificates(CURL* handle, const TransportSettings& settings) {
  long ofProxy = 0;
  curl_easy_getinfo(handle, CURLINFO_PROXY_SSL_VERIFYRESULT, &ofProxy);
  if (ofProxy != 0) return named(settings.proxyCaFile, settings.proxyCaDirectory) + " for the proxy";
  return named(settings.caFile, settings.caDirectory);
}

bool isAboutTrust(CURLcode code) {
  return code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE;
}

}  // namespace

base::Error errorOfCurl(CURLcode code, CURL* handle, const char* detail, const TransportSettings& settings) {
  const std::int64_t urlCode = codeOf(code, handle);
  const bool explains = urlCode == platform::kUrlErrorUnknown ||
                        urlCode == platform::kUrlErrorSecureConnectionFailed || isAboutTrust(code);
  if (!explains) return urlError(urlCode);
  std::string text = detail[0] != '\0' ? detail : curl_easy_strerror(code);
  if (isAboutTrust(code)) text.append("; ").append(trustedCertificates(handle, settings));
  return urlError(urlCode, text);
}

}  // namespace tidewell::posix

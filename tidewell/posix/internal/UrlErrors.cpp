// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/UrlErrors.h"

#include "tidewell/platform/UrlSession.h"

namespace tidewell::posix {
namespace {

std::string_view sentence(std::int64_t code) {
  switch (code) {
    case platform::kUrlErrorCancelled:
      return "cancelled";
    case platform::kUrlErrorBadUrl:
      return "bad URL";
    case platform::kUrlErrorTimedOut:
      return "The request timed out.";
    case platform::kUrlErrorUnsupportedUrl:
      return "unsupported URL";
    case platform::kUrlErrorCannotFindHost:
      return "A server with the specified hostname could not be found.";
    case platform::kUrlErrorCannotConnectToHost:
      return "Could not connect to the server.";
    case platform::kUrlErrorNetworkConnectionLost:
      return "The network connection was lost.";
    case platform::kUrlErrorHttpTooManyRedirects:
      return "too many HTTP redirects";
    case platform::kUrlErrorResourceUnavailable:
      return "resource unavailable";
    case platform::kUrlErrorNotConnectedToInternet:
      return "The Internet connection appears to be offline.";
    case platform::kUrlErrorBadServerResponse:
      return "bad server response";
    case platform::kUrlErrorCannotDecodeContentData:
      return "cannot decode content data";
    case platform::kUrlErrorDataLengthExceedsMaximum:
      return "resource exceeds maximum size";
    case platform::kUrlErrorSecureConnectionFailed:
      return "An SSL error has occurred and a secure connection to the server cannot be made.";
    case platform::kUrlErrorServerCertificateUntrusted:
      return "The certificate for this server is invalid. You might be connecting to a server that is "
             "pretending to be another one, which could put your confidential information at risk.";
    default:
      return "unknown error";
  }
}

}  // namespace

base::Error urlError(std::int64_t code, std::string_view detail) {
  base::Error error{std::string(base::kUrlErrorDomain), code, std::string(sentence(code))};
  if (!detail.empty()) error.localizedDescription.append(" (").append(detail).append(")");
  return error;
}

}  // namespace tidewell::posix

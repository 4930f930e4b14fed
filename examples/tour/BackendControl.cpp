// SPDX-License-Identifier: Apache-2.0
#include "BackendControl.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>

#include "tidewell/base/KeyPath.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"

namespace {

std::size_t append(char* data, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

/// Sends a POST if `posted` is given, else a GET. The body of the reply; no value on error.
std::optional<std::string> ask(int port, const std::string& path, const std::string* posted = nullptr) {
  const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), curl_easy_cleanup);
  std::string reply;
  curl_easy_setopt(handle.get(), CURLOPT_URL, ("http://127.0.0.1:" + std::to_string(port) + path).c_str());
  curl_easy_setopt(handle.get(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &reply);
  if (posted != nullptr) {
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, posted->data());
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(posted->size()));
  }
  if (curl_easy_perform(handle.get()) != CURLE_OK) return std::nullopt;
  return reply;
}

/// One JSON object per line.
std::string receivedRequests(int port) { return ask(port, "/control/requests").value_or(""); }

}  // namespace

bool BackendControl::setConfiguration(const std::string& json) const {
  return ask(port_, "/control/config", &json).has_value();
}

bool BackendControl::addFault(const std::string& fault) const {
  return ask(port_, "/control/fault", &fault).has_value();
}

int BackendControl::requestCount() const {
  const std::string requests = receivedRequests(port_);
  return static_cast<int>(std::count(requests.begin(), requests.end(), '\n'));
}

std::string BackendControl::lastShippedLine() const {
  using tidewell::base::JSONObjectWithData;
  using tidewell::base::valueForKeyPath;
  std::string last;
  std::istringstream requests(receivedRequests(port_));
  for (std::string line; std::getline(requests, line);) {
    const auto request = JSONObjectWithData(line);
    if (!valueForKeyPath(request, "service").isNumber()) continue;
    if (valueForKeyPath(request, "service").integerValue() != tidewell::TWServiceSendLogs) continue;
    const auto payload = JSONObjectWithData(valueForKeyPath(request, "body").description());
    last = valueForKeyPath(payload, "msg").description();
  }
  return last;
}

#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/testing/StandInBackend.h"

/// What a client of the backend got to see.
struct Seen {
  CURLcode code = CURLE_OK;
  long status = 0;
  long verifyResult = 0;
  std::string body;  ///< decoded
};

/// Asks the backend with bare libcurl, which shares nothing with the code under test. One connection at a
/// time, kept between requests.
class StandInClient {
 public:
  explicit StandInClient(const tidewell::testing::StandInBackend& backend)
      : ca(backend.caFile()),
        route_("::127.0.0.1:" + std::to_string(backend.port())),
        curl_(curl_easy_init(), &curl_easy_cleanup) {}

  std::string ca;      ///< what it trusts
  std::string method;  ///< "" for what the body makes it
  std::vector<std::string> headers{"TDW-APPKEY: APP", "content-type: application/json"};
  std::string host{tidewell::HOST_TDW_PROD_US};
  long timeoutMilliseconds = 20'000;

  Seen post(const std::string& path, const std::string& body) { return send(path, &body); }
  Seen get(const std::string& path) { return send(path, nullptr); }

 private:
  using Slist = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  Seen send(const std::string& path, const std::string* body) {
    CURL* curl = curl_.get();
    curl_easy_reset(curl);
    Seen seen;
    const Slist route(curl_slist_append(nullptr, route_.c_str()), &curl_slist_free_all);
    Slist list(nullptr, &curl_slist_free_all);
    for (const auto& header : headers) {
      list.reset(curl_slist_append(list.release(), header.c_str()));
    }
    curl_easy_setopt(curl, CURLOPT_URL, ("https://" + host + ":443" + path).c_str());
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECT_TO, route.get());
    curl_easy_setopt(curl, CURLOPT_CAINFO, ca.c_str());
    curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list.get());
    curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
    curl_easy_setopt(curl, CURLOPT_POSTREDIR, CURL_REDIR_POST_ALL);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, timeoutMilliseconds);
    if (body != nullptr) {
      curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
      curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body->c_str());
    }
    if (!method.empty()) curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &seen.body);
    curl_easy_setopt(
        curl, CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t size, std::size_t count, void* out) {
          static_cast<std::string*>(out)->append(bytes, size * count);
          return size * count;
        });
    seen.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &seen.status);
    curl_easy_getinfo(curl, CURLINFO_SSL_VERIFYRESULT, &seen.verifyResult);
    return seen;
  }

  std::string route_;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_;
};

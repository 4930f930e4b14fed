// SPDX-License-Identifier: Apache-2.0
// libcurl alone: initialised, with the handles of a client; then a request is prepared.
#include <curl/curl.h>

#include "Peer.h"

int main(int argc, char**) {
  const auto start = [] {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    return curl_multi_init();
  };
  return bench::runPeer(argc, start, [](CURLM* multi) {
    CURL* const curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, "https://localhost/");
    curl_multi_add_handle(multi, curl);
    curl_multi_remove_handle(multi, curl);
    curl_easy_cleanup(curl);
  });
}

// SPDX-License-Identifier: Apache-2.0
// One POST with bare libcurl, over TLS to the stand-in backend; prints the reply. usage: process_exchange URL
// BODY HEADER..., with the backend's port and certificates in the variables that examples/hello reads.
#include <curl/curl.h>

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  const char* const port = std::getenv("TIDEWELL_STAND_IN_PORT");
  const char* const ca = std::getenv("TIDEWELL_STAND_IN_CA");
  if (argc < 3 || port == nullptr || ca == nullptr) return 2;
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return 1;
  CURL* const curl = curl_easy_init();
  curl_slist* const connectTo = curl_slist_append(nullptr, (std::string("::127.0.0.1:") + port).c_str());
  curl_slist* headers = nullptr;
  for (int i = 3; i < argc; ++i) headers = curl_slist_append(headers, argv[i]);
  curl_easy_setopt(curl, CURLOPT_URL, argv[1]);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, argv[2]);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "gzip, deflate, br");
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connectTo);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_CAINFO, ca);
  curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  const CURLcode code = curl_easy_perform(curl);
  if (code != CURLE_OK) std::fprintf(stderr, "%s\n", curl_easy_strerror(code));
  curl_easy_cleanup(curl);
  return code == CURLE_OK ? 0 : 1;
}

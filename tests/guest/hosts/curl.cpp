// SPDX-License-Identifier: Apache-2.0
// A host that uses libcurl and OpenSSL itself: `guest_curl host-first|sdk-first|at-once`.
#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>

#include <semaphore>
#include <thread>

#include "hosts/EveryOperation.h"
#include "hosts/HostOptions.h"

using namespace tidewell;
using guest::require;

namespace {

/// A request made by the host.
void fetch() {
  CURL* const curl = curl_easy_init();
  curl_slist* const address = curl_slist_append(
      nullptr, ("api.tidewell.example:443:127.0.0.1:" + guest::variable("HOST_PORT")).c_str());
  curl_easy_setopt(curl, CURLOPT_URL, "https://api.tidewell.example/own");
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, address);
  curl_easy_setopt(curl, CURLOPT_CAINFO, guest::variable("HOST_CA").c_str());
  curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  const CURLcode code = curl_easy_perform(curl);
  require(code == CURLE_OK, curl_easy_strerror(code));
  curl_slist_free_all(address);
  curl_easy_cleanup(curl);
}
void useOwn() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  for (int i = 0; i < 20; ++i) fetch();
}

void sendAndWait(int count) {
  static std::counting_semaphore<> ended{0};
  for (int i = 0; i < count; ++i) {
    guest::request().executeRequestWithCompletionBlock([](bool success, const base::Value&) {
      require(success, "the SDK's requests");
      ended.release();
    });
  }
  for (int i = 0; i < count; ++i) ended.acquire();
}
void useSdk() {
  require(posix::install(guest::hostOptions()) != nullptr, "installation");
  sendAndWait(20);
}

}  // namespace

int main(int, char** argv) {
  SSL_CTX* const own = SSL_CTX_new(TLS_client_method());
  SSL_CTX_set_min_proto_version(own, TLS1_3_VERSION);
  const std::string order = argv[1];
  std::thread other([&] {
    if (order != "sdk-first") useOwn();
  });
  if (order == "host-first") other.join();
  useSdk();
  if (order == "at-once") other.join();
  if (order == "sdk-first") other.join(), useOwn();
  // The host leaves an error in its OpenSSL queue and disables non-FIPS algorithms such as MD5.
  EVP_set_default_properties(nullptr, "fips=yes");
  ERR_raise(ERR_LIB_USER, 42);
  guest::use({"defaults", "device", "texts", "keychain", "dates"});
  require(EVP_default_properties_is_fips_enabled(nullptr) == 1, "the host's default properties");
  EVP_set_default_properties(nullptr, "");
  require(ERR_GET_REASON(ERR_peek_last_error()) == 42, "the host's error");
  require(SSL_CTX_get_min_proto_version(own) == TLS1_3_VERSION, "the host's settings");
  // The host is done with libcurl; the SDK is not.
  curl_global_cleanup();
  sendAndWait(5);
  curl_global_init(CURL_GLOBAL_DEFAULT);
  fetch();
  return 0;
}

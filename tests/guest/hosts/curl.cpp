// A host with a libcurl and an OpenSSL of its own: `guest_curl host-first|sdk-first|at-once`.
#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "hosts/EveryOperation.h"
#include "tidewell/posix/PosixPlatform.h"

using namespace tidewell;
using guest::require;

namespace {

std::string port() { return getenv("GUEST_PORT"); }

std::size_t ignore(char*, std::size_t size, std::size_t count, void*) { return size * count; }

/// A request of the host's own.
void fetch() {
  CURL* const curl = curl_easy_init();
  curl_slist* const address =
      curl_slist_append(nullptr, ("api.tidewell.example:443:127.0.0.1:" + port()).c_str());
  curl_easy_setopt(curl, CURLOPT_URL, "https://api.tidewell.example/own");
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, address);
  curl_easy_setopt(curl, CURLOPT_CAINFO, getenv("GUEST_CA"));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, ignore);
  const CURLcode code = curl_easy_perform(curl);
  require(code == CURLE_OK, curl_easy_strerror(code));
  curl_slist_free_all(address);
  curl_easy_cleanup(curl);
}

std::mutex mutex;
std::condition_variable changed;
int succeeded = 0;

void sendAndWait(int count) {
  std::unique_lock lock(mutex);
  const int before = succeeded;
  lock.unlock();
  for (int i = 0; i < count; ++i) {
    const TWNetworkRequest request(TWServiceSendReports, std::nullopt, std::nullopt, std::nullopt, "guest");
    request.executeRequestWithCompletionBlock([](bool success, const base::Value&) {
      const std::lock_guard locked(mutex);
      succeeded += success;
      changed.notify_all();
    });
  }
  lock.lock();
  require(changed.wait_for(lock, std::chrono::seconds(30), [&] { return succeeded == before + count; }),
          "the SDK's requests");
}

void useSdk() {
  posix::Options options;
  options.bundleIdentifier = "org.example.guest";
  options.version = "1.0";
  options.caFile = getenv("GUEST_CA");
  options.connectionOverrides.push_back(
      {std::string(HOST_TDW_PROD_US), 443, "127.0.0.1", static_cast<std::uint16_t>(std::stoi(port()))});
  require(posix::install(options) != nullptr, "installation");
  sendAndWait(20);
}

void useOwn() {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  for (int i = 0; i < 20; ++i) fetch();
}

}  // namespace

int main(int, char** argv) {
  SSL_CTX* const own = SSL_CTX_new(TLS_client_method());
  SSL_CTX_set_min_proto_version(own, TLS1_3_VERSION);
  const std::string order = argv[1];
  if (order == "host-first") useOwn();
  if (order == "at-once") {
    std::thread other(useOwn);
    useSdk();
    other.join();
  } else {
    useSdk();
  }
  if (order == "sdk-first") useOwn();
  // The host keeps an error on its queue. It forbids itself what a FIPS provider has not: MD5, and names of
  // content are none of its business.
  EVP_set_default_properties(nullptr, "fips=yes");
  ERR_raise(ERR_LIB_USER, 42);
  guest::useUtilities();
  require(EVP_default_properties_is_fips_enabled(nullptr) == 1, "the host's default properties");
  EVP_set_default_properties(nullptr, "");
  require(ERR_GET_REASON(ERR_peek_last_error()) == 42, "the host's error");
  require(SSL_CTX_get_min_proto_version(own) == TLS1_3_VERSION, "the host's settings");
  // The host has done with libcurl; the SDK has not.
  curl_global_cleanup();
  sendAndWait(5);
  curl_global_init(CURL_GLOBAL_DEFAULT);
  fetch();
  std::puts("both");
  return 0;
}

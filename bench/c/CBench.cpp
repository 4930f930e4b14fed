// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "BackendProcess.h"
#include "Ratio.h"
#include "tidewell/c/tidewell.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"

// The C interface beside the operations that it calls.
namespace {

using namespace tidewell;

void install(const std::string& folder) {
  tdw_options* const options = tdw_options_create();
  const std::string authority = folder + "/ca.pem";
  testing::StandInBackendOptions backend;
  backend.caFile = authority;
  const std::uint16_t port = bench::startBackend(backend);
  tdw_options_set_bundle_identifier(options, "org.example.bench");
  tdw_options_set_version(options, "1");
  tdw_options_set_data_home(options, folder.c_str());
  tdw_options_set_proxy(options, "-");
  tdw_options_set_ca_file(options, authority.c_str());
  tdw_options_add_connection_override(options, std::string(HOST_TDW_PROD_US).c_str(), 443, "127.0.0.1", port);
  if (tdw_install_posix(options) != TDW_OK) std::abort();
  tdw_options_destroy(options);
  tdw_start("BENCH");
  tdw_wait_for_sync(10'000);
}

std::atomic<int> replies{0};
void replied() { ++replies, replies.notify_one(); }
/// Sends requests one after the other.
template <class Send>
bench::Work sending(Send send) {
  return [send](std::size_t times) {
    while (times--) {
      const int before = replies;
      send();
      replies.wait(before);
    }
  };
}

}  // namespace

int main(int argc, char** argv) {
  char name[] = "/tmp/tidewell-bench-XXXXXX";
  const std::string folder = mkdtemp(name);
  install(folder);

  bench::ratio(
      "gate through C / through C++", 1.5,
      [](std::size_t times) {
        while (times--) bench::keep(tdw_is_open(TDW_GATE_GEOFENCE));
      },
      [](std::size_t times) {
        while (times--) bench::keep(TWConfigManager::sharedInstance().isGeofenceServiceActive());
      });
  bench::ratio(
      "event question through C / through C++", 2,
      [](std::size_t times) {
        while (times--) bench::keep(tdw_event_is_in(TDW_LIST_BLACKLISTED_EVENTS, "add_to_cart"));
      },
      [](std::size_t times) {
        while (times--)
          bench::keep(TWConfigManager::sharedInstance().isEventBlackListed(std::string_view("add_to_cart")));
      });
  bench::ratio("request through C / through C++, loopback", 1.1, sending([] {
                 const tdw_reply reply = [](void*, bool, const char*) { replied(); };
                 tdw_send(TDW_SERVICE_INBOX, R"({"q": "1"})", nullptr, R"({"limit": 10})", nullptr, reply,
                          nullptr, nullptr);
               }),
               sending([] {
                 TWNetworkRequest(TWServiceInbox, base::Dictionary{{"q", "1"}}, std::nullopt,
                                  base::Dictionary{{"limit", 10}}, std::nullopt)
                     .executeRequestWithCompletionBlock([](bool, const base::Value&) { replied(); });
               }),
               {.turns = 60, .secondsPerTurn = 0.05});
  const int status = bench::run(argc, argv);
  std::filesystem::remove_all(folder);
  return status;
}

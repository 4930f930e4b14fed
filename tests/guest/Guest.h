// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>

#include "Child.h"
#include "tidewell/testing/StandInBackend.h"

// The fixture of the tests that run the host programs in hosts/.
namespace tidewell::guest {

namespace fs = std::filesystem;
using Outcome = Child::Outcome;

/// Whether the long variants run, with more repetitions and longer waits.
inline bool isLong() { return getenv("TIDEWELL_GUEST_LONG") != nullptr; }

/// A backend, a data folder for the hosts, and a working folder that must stay empty.
class GuestTest : public ::testing::Test {
 protected:
  GuestTest() {
    umask(022);  // folders that their group may write are not used
    signal(SIGPIPE, SIG_IGN);
    std::string name = "/tmp/tidewell-guest-XXXXXX";
    folder = mkdtemp(name.data());
    data = folder + "/data";
    archive = data + "/org.example.life/Library/Tidewell/TdwConfig";
    defaults = data + "/org.example.life/Library/Preferences/org.example.life.plist";
    fs::create_directory(folder + "/working");
    fs::current_path(folder + "/working");
    backend.setConfiguration(
        R"({"a_s": "allowed", "i_s": "blocked", "e_b_c": 7, "b_e": ["spam"], "b_uid_r": ["[0-9]+"]})");
  }
  ~GuestTest() override {
    EXPECT_TRUE(fs::is_empty(folder + "/working")) << "a file was left in the working folder";
    fs::current_path("/");
    fs::remove_all(folder);
  }

  /// The environment of a host. Each entry of `more` replaces a variable; "" is ignored.
  [[nodiscard]] std::vector<std::string> environment(const std::vector<std::string>& more = {}) const {
    std::map<std::string, std::string> all{{"XDG_DATA_HOME", data},
                                           {"HOST_CA", backend.caFile()},
                                           {"HOST_PORT", std::to_string(backend.port())},
                                           {"HOST_DEBUG", "1"},
                                           {"TZ", "Asia/Kolkata"}};
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
      if (const char* value = getenv(name)) all[name] = value;
    }
    all["TSAN_OPTIONS"] += " atexit_sleep_ms=0";
    // Hosts exit with requests and plug-ins in flight, whose memory counts as leaked.
    all["ASAN_OPTIONS"] += ":detect_leaks=0";
    for (const std::string& each : more) {
      if (!each.empty()) all[each.substr(0, each.find('='))] = each.substr(each.find('=') + 1);
    }
    std::vector<std::string> result;
    for (const auto& [name, value] : all) {
      if (value != "(unset)") result.push_back(name + "=" + value);
    }
    return result;
  }
  /// Starts hosts/host.cpp with its first commands.
  [[nodiscard]] Child host(std::vector<std::string> commands = {}, const std::vector<std::string>& more = {},
                           int errorOutput = -1) const {
    commands.insert(commands.begin(), GUEST_HOST);
    return {std::move(commands), environment(more), errorOutput};
  }
  /// Replaces all faults of the backend by one in its notation.
  void setFault(const std::string& text) {
    std::string problem;
    const auto fault = testing::StandInFault::parse(text, problem);
    ASSERT_TRUE(fault) << text << ": " << problem;
    backend.setFault(*fault);
  }

  std::string folder, data, archive, defaults;
  testing::StandInBackend backend;
};

}  // namespace tidewell::guest

#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "guest/Host.h"
#include "tidewell/testing/StandInBackend.h"

// The fixture of the tests that run the host programs in hosts/.
namespace tidewell::guest {

/// A backend, a folder for what the hosts leave, and a working folder that must stay empty.
class GuestTest : public ::testing::Test {
 protected:
  GuestTest() {
    umask(022);  // folders that their group may write are not used
    std::string name = "/tmp/tidewell-guest-XXXXXX";
    folder = mkdtemp(name.data());
    data = folder + "/data";
    container = data + "/org.example.guest";
    archive = container + "/Library/Tidewell/TdwConfig";
    defaults = container + "/Library/Preferences/org.example.guest.plist";
    std::filesystem::create_directory(folder + "/working");
    std::filesystem::current_path(folder + "/working");
    backend.setConfiguration(
        R"({"a_s": "allowed", "i_s": "blocked", "e_b_c": 7, "b_e": ["spam"], "b_uid_r": ["[0-9]+"]})");
    signal(SIGPIPE, SIG_IGN);
  }
  ~GuestTest() override {
    EXPECT_TRUE(std::filesystem::is_empty(folder + "/working")) << "a file was left in the working folder";
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }

  /// The variables of a host; later ones of the same name are the test's own.
  [[nodiscard]] std::vector<std::string> environment(std::vector<std::string> more = {}) const {
    std::map<std::string, std::string> all{{"XDG_DATA_HOME", data},
                                           {"GUEST_CA", backend.caFile()},
                                           {"GUEST_PORT", std::to_string(backend.port())},
                                           {"TZ", "UTC"}};
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
      if (const char* value = getenv(name)) all[name] = value;
    }
    all["TSAN_OPTIONS"] += " atexit_sleep_ms=0";
    // Hosts end with requests, plug-ins and their own libraries' memory in flight: nothing of that is lost.
    all["ASAN_OPTIONS"] += ":detect_leaks=0";
    for (const std::string& each : more) {
      const auto sign = each.find('=');
      all[each.substr(0, sign)] = each.substr(sign + 1);
    }
    std::vector<std::string> result;
    for (const auto& [name, value] : all) {
      if (value != "(unset)") result.push_back(name + "=" + value);
    }
    return result;
  }
  /// The program hosts/host.cpp doing one of its cases.
  [[nodiscard]] Host host(std::vector<std::string> arguments, std::vector<std::string> more = {}) const {
    arguments.insert(arguments.begin(), GUEST_HOST);
    return Host(std::move(arguments), environment(std::move(more)));
  }

  std::string folder, data, container, archive, defaults;
  testing::StandInBackend backend;
};

[[nodiscard]] inline int count(const std::string& text, const std::string& part) {
  int found = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++found;
  return found;
}

}  // namespace tidewell::guest

#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "guest/Host.h"
#include "tidewell/testing/StandInBackend.h"

namespace tidewell::life {

/// What a new configuration answers (see `answers` in app.cpp), and `kConfiguration`'s.
inline constexpr std::string_view kDefaultAnswers =
    R"(["yyyynyyyyy",[2592000,60,10800,1800,1800,30],"nnnnn",[],[],[],[],[],"",2])";
inline constexpr const char* kConfiguration = R"({
  "a_s": "allowed", "i_s": "blocked", "in_s": "Blocked", "g_s": "blocked", "le_s": "allowed",
  "d_t": "blocked", "p_f_s": null, "p_f_t": 120, "i_d_e": "604800", "dt_s_t": 0, "u_a_c_t": 900,
  "s_i_d": 1200, "e_b_c": 50,
  "b_e": ["click", "spam"], "f_e": ["buy"], "d_t_w_e": ["consent"], "src_ext": ["campaign"],
  "b_uid_r": ["[0-9]+"], "le_tkn": "tok", "unknown": {"key": [1]}
})";
inline constexpr std::string_view kConfigurationAnswers =
    R"(["ynnyyynyyy",[604800,120,10800,900,1200,50],"yyyyn",["click","spam"],["buy"],["consent"],)"
    R"(["campaign"],["[0-9]+"],"tok",2])";

using guest::bytesOf;
using guest::writeFile;

/// The application of app.cpp in a process of its own.
class App : public guest::Host {
 public:
  /// `environment` is all that it gets.
  App(const testing::StandInBackend& backend, std::vector<std::string> environment)
      : Host({LIFE_APP, std::to_string(backend.port()), backend.caFile()}, std::move(environment)) {}

  /// Lets `main` return: the exit status, minus the signal that ended it, or `kHung`.
  int end() { return Host::end().status; }
  void kill() const { ::kill(process(), SIGKILL); }
  void stop() const { ::kill(process(), SIGSTOP); }
  void resume() const { ::kill(process(), SIGCONT); }
};

/// A backend, and a folder for the data of the applications that a test starts.
class LifeTest : public ::testing::Test {
 protected:
  LifeTest() {
    umask(022);  // folders that their group may write are not used
    std::string name = "/tmp/tidewell-life-XXXXXX";
    folder = mkdtemp(name.data());
    data = folder + "/data";
    container = data + "/org.example.life";
    archive = container + "/Library/Tidewell/TdwConfig";
    defaults = container + "/Library/Preferences/org.example.life.plist";
    backend.setConfiguration(kConfiguration);
    signal(SIGPIPE, SIG_IGN);
  }
  ~LifeTest() override { std::filesystem::remove_all(folder); }

  [[nodiscard]] std::vector<std::string> environment() const {
    std::vector<std::string> all{"XDG_DATA_HOME=" + data, "TZ=Asia/Kolkata"};
    // What the sanitizers are told.
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
      if (const char* value = getenv(name)) all.push_back(std::string(name) + "=" + value);
    }
    return all;
  }

  /// One life that syncs and ends.
  void firstLife() {
    App app(backend, environment());
    ASSERT_EQ(app.ask("start A"), "synced");
    ASSERT_EQ(app.end(), 0);
  }

  std::string folder, data, container, archive, defaults;
  testing::StandInBackend backend;
};

}  // namespace tidewell::life

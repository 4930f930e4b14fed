// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "guest/Guest.h"

namespace tidewell::life {

namespace fs = std::filesystem;

/// The answers of a new configuration (see `answers` in guest/hosts/host.cpp) and of `kConfiguration`.
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

/// Logged for an archive that cannot be decoded.
inline constexpr std::string_view kKeptAside = "cannot be decoded and is kept aside";

/// A backend with `kConfiguration`.
class LifeTest : public guest::GuestTest {
 protected:
  LifeTest() { backend.setConfiguration(kConfiguration); }

  /// Executes a command that may start a sync. Returns the result of the sync, or "none".
  static std::string sync(Child& app, const std::string& command) {
    // The number of syncs begun, succeeded and failed.
    const auto counts = [&] {
      const std::string log = app.errors();
      return std::array{count(log, "Config request initiated:"), count(log, "SDK Config Synced"),
                        count(log, "Api failed with response")};
    };
    const auto before = counts();
    app.ask({command, "drain"});
    const bool isStarted = counts()[0] > before[0];
    EXPECT_TRUE(eventually([&] { return !isStarted || counts()[1] + counts()[2] > before[1] + before[2]; }));
    app.ask("drain");  // the merge follows the log line
    return !isStarted ? "none" : counts()[1] > before[1] ? "synced" : "failed";
  }

  /// Runs a process that syncs and exits.
  void firstLife() {
    Child one = host();
    ASSERT_EQ(sync(one, "start A"), "synced");
    ASSERT_EQ(one.end().status, 0);
  }
};

}  // namespace tidewell::life

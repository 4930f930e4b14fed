#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

/// The application of app.cpp in a process of its own.
class App {
 public:
  /// `environment` is all that it gets.
  App(const testing::StandInBackend& backend, std::vector<std::string> environment) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    if (pipe2(in.data(), O_CLOEXEC) != 0 || pipe2(out.data(), O_CLOEXEC) != 0) return;
    std::string port = std::to_string(backend.port());
    std::string program = LIFE_APP;
    std::string ca = backend.caFile();
    std::array<char*, 4> arguments{program.data(), port.data(), ca.data(), nullptr};
    std::vector<char*> variables;
    for (std::string& each : environment) variables.push_back(each.data());
    variables.push_back(nullptr);
    process_ = fork();
    if (process_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      execve(LIFE_APP, arguments.data(), variables.data());
      _exit(99);
    }
    close(in[0]);
    close(out[1]);
    in_ = in[1];
    out_ = out[0];
  }
  ~App() {
    kill();
    if (out_ >= 0) close(out_);
  }
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  /// Does one thing and answers what came of it.
  std::string ask(const std::string& command) {
    send(command);
    return receive();
  }
  void send(const std::string& command) const {
    const std::string line = command + "\n";
    EXPECT_EQ(write(in_, line.data(), line.size()), static_cast<ssize_t>(line.size())) << command;
  }
  /// The next line; "(ended)" or "(silent)" where there is none.
  std::string receive() {
    for (;;) {
      if (const auto end = text_.find('\n'); end != std::string::npos) {
        std::string line = text_.substr(0, end);
        text_.erase(0, end + 1);
        return line;
      }
      pollfd waiting{out_, POLLIN, 0};
      if (poll(&waiting, 1, kPatienceMilliseconds) <= 0) return "(silent)";
      std::array<char, 4096> bytes{};
      const ssize_t got = read(out_, bytes.data(), bytes.size());
      if (got <= 0) return "(ended)";
      text_.append(bytes.data(), static_cast<std::size_t>(got));
    }
  }
  /// Lets `main` return: the exit status, minus the signal that ended it, or -1000 where it hangs.
  int end() {
    if (process_ < 0) return -1001;
    close(std::exchange(in_, -1));
    std::string last;
    do last = receive();
    while (last.front() != '(');
    if (last == "(silent)") return -1000;
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  void kill() {
    if (in_ >= 0) close(std::exchange(in_, -1));
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    waitpid(std::exchange(process_, -1), nullptr, 0);
  }
  [[nodiscard]] std::string procPath(std::string_view name) const {
    return "/proc/" + std::to_string(process_) + "/" + std::string(name);
  }
  [[nodiscard]] std::ptrdiff_t descriptorCount() const {
    return std::distance(std::filesystem::directory_iterator(procPath("fd")), {});
  }

 private:
  static constexpr int kPatienceMilliseconds = 30'000;

  pid_t process_ = -1;
  int in_ = -1;
  int out_ = -1;
  std::string text_;
};

inline std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// A backend, and a folder for the data of the applications that a test starts.
class LifeTest : public ::testing::Test {
 protected:
  LifeTest() {
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

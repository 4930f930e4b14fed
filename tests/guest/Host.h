#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A program in a process of its own: starts it, talks with it, and looks at it from outside.
namespace tidewell::guest {

/// Whether the long forms run: 200 ends, a minute of idleness, a minute stopped.
inline bool isLong() { return getenv("TIDEWELL_GUEST_LONG") != nullptr; }

/// Sanitizers have threads and memory of their own, and larger frames.
inline constexpr bool kIsSanitized = GUEST_IS_SANITIZED;

inline std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string& path, std::string_view bytes) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// What became of a program: its exit status, minus the signal that ended it, or `kHung`; and the rest of
/// what it printed.
struct Outcome {
  int status = 0;
  std::string out, err;
  /// The end of what it wrote to standard error, for messages.
  [[nodiscard]] std::string last() const {
    return err.substr(err.size() - std::min<std::size_t>(err.size(), 500));
  }
};

/// A host program in a process of its own. It prints a line when it has got somewhere, and goes on at a line.
class Host {
 public:
  static constexpr int kHung = -1000;
  /// A host that does nothing for so long hangs. Under a sanitizer a body of 32 MB alone takes a second.
  static constexpr int kPatienceMilliseconds = kIsSanitized ? 60'000 : 10'000;

  /// `environment` is all that it gets. `errorOutput` stands in place of the pipe that collects it.
  Host(std::vector<std::string> command, std::vector<std::string> environment, int errorOutput = -1) {
    std::array<std::array<int, 2>, 3> pipes{};
    for (auto& each : pipes) {
      if (pipe2(each.data(), O_CLOEXEC) != 0) return;
    }
    std::vector<char*> arguments = pointers(command);
    std::vector<char*> variables = pointers(environment);
    process_ = fork();
    if (process_ == 0) {
      dup2(pipes[0][0], STDIN_FILENO);
      dup2(pipes[1][1], STDOUT_FILENO);
      dup2(errorOutput >= 0 ? errorOutput : pipes[2][1], STDERR_FILENO);
      signal(SIGPIPE, SIG_DFL);
      execve(arguments[0], arguments.data(), variables.data());
      _exit(99);
    }
    close(pipes[0][0]);
    close(pipes[1][1]);
    close(pipes[2][1]);
    in_ = pipes[0][1];
    outputs_ = {Output{pipes[1][0], {}}, Output{pipes[2][0], {}}};
  }
  ~Host() {
    if (process_ > 0) {
      ::kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    for (const int each : {in_, outputs_[0].descriptor, outputs_[1].descriptor}) {
      if (each >= 0) close(each);
    }
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Has it go on, and answers its next line; "(ended)" or "(silent)" where there is none.
  std::string ask(const std::string& text) {
    say(text);
    return line();
  }
  void say(const std::string& text) const {
    const std::string bytes = text + "\n";
    static_cast<void>(!write(in_, bytes.data(), bytes.size()));
  }
  std::string line() {
    Output& out = outputs_[0];
    for (;;) {
      if (const auto end = out.text.find('\n'); end != std::string::npos) {
        std::string found = out.text.substr(0, end);
        out.text.erase(0, end + 1);
        return found;
      }
      if (out.descriptor < 0) return "(ended)";
      if (!readSome()) return "(silent)";
    }
  }
  /// Gives it nothing more to do, and waits for its end; as long as it prints something every so often.
  Outcome end(std::chrono::milliseconds patience = std::chrono::milliseconds(kPatienceMilliseconds)) {
    if (in_ >= 0) close(std::exchange(in_, -1));
    while (outputs_[0].descriptor >= 0 || outputs_[1].descriptor >= 0) {
      if (!readSome(patience)) return {kHung, outputs_[0].text, outputs_[1].text};
    }
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), outputs_[0].text, outputs_[1].text};
  }
  /// What it wrote to standard error so far.
  [[nodiscard]] const std::string& errors() const { return outputs_[1].text; }

  [[nodiscard]] pid_t process() const { return process_; }
  /// What its descriptors stand for, without the numbers of sockets and pipes and what became of a file.
  [[nodiscard]] std::multiset<std::string> descriptors() const {
    std::multiset<std::string> found;
    for (const auto& each : std::filesystem::directory_iterator(proc("fd"))) {
      std::error_code closedMeanwhile;
      const std::string target = std::filesystem::read_symlink(each.path(), closedMeanwhile);
      found.insert(target.substr(0, std::min(target.find(":["), target.find(" (deleted)"))));
    }
    return found;
  }
  /// Its threads but the first, by name; the value is what a line of their status says, all of them joined.
  [[nodiscard]] std::map<std::string, std::string> threads(const std::string& key) const {
    std::map<std::string, std::string> found;
    for (const auto& task : std::filesystem::directory_iterator(proc("task"))) {
      const std::string id = task.path().filename();
      if (id == std::to_string(process_)) continue;
      std::string name = bytesOf(task.path() / "comm");
      if (!name.empty()) name.pop_back();
      if (kIsSanitized && name.substr(0, 3) != "tw-") continue;
      std::ifstream status(task.path() / "status");
      for (std::string each; std::getline(status, each);) {
        if (each.find(key) != std::string::npos) found[name] += each.substr(each.find(':') + 1);
      }
    }
    return found;
  }
  [[nodiscard]] std::string proc(const std::string& name) const {
    return "/proc/" + std::to_string(process_) + "/" + name;
  }

 private:
  struct Output {
    int descriptor = -1;
    std::string text;
  };

  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& each : texts) result.push_back(each.data());
    result.push_back(nullptr);
    return result;
  }

  /// Waits for a bit of output or its end. NO where it has been silent too long.
  bool readSome(std::chrono::milliseconds patience = std::chrono::milliseconds(kPatienceMilliseconds)) {
    std::array<pollfd, 2> waiting{pollfd{outputs_[0].descriptor, POLLIN, 0},
                                  pollfd{outputs_[1].descriptor, POLLIN, 0}};
    if (poll(waiting.data(), waiting.size(), static_cast<int>(patience.count())) <= 0) return false;
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      if (waiting[i].revents == 0) continue;
      std::array<char, 4096> bytes{};
      const ssize_t got = read(outputs_[i].descriptor, bytes.data(), bytes.size());
      if (got > 0) outputs_[i].text.append(bytes.data(), static_cast<std::size_t>(got));
      if (got == 0) close(std::exchange(outputs_[i].descriptor, -1));
    }
    return true;
  }

  pid_t process_ = -1;
  int in_ = -1;
  std::array<Output, 2> outputs_;
};

}  // namespace tidewell::guest

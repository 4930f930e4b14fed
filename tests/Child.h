// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Child processes and helpers for the process tests.
namespace tidewell {

/// The sanitizers of this build; "" for none. They add threads, descriptors and memory, and
/// AddressSanitizer's allocator may stay locked in a forked child.
inline constexpr std::string_view kSanitizers = TIDEWELL_TEST_SANITIZERS;
inline constexpr bool kIsSanitized = !kSanitizers.empty();
inline constexpr bool kAddressSanitizer = kSanitizers.find("address") != std::string_view::npos;

inline std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Also creates the parent folders.
inline void writeFile(const std::string& path, std::string_view bytes) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// The number of occurrences of `part`.
inline int count(std::string_view text, std::string_view part) {
  int found = 0;
  for (auto at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) ++found;
  return found;
}

/// Polls until a condition holds. False after 100 s, which is ample on a busy machine.
template <class Condition>
bool eventually(const Condition& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(100);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    usleep(1000);
  }
  return true;
}

/// Runs a program that reads lines from standard input and answers on standard output. Owns the process and
/// kills it on destruction. Not thread-safe.
class Child {
 public:
  /// The exit status, or minus the signal that ended the process; and its output.
  struct Outcome {
    int status = 0;
    std::string out, err;
  };
  /// A process that runs longer hangs; SIGALRM ends it.
  static constexpr unsigned kLimitSeconds = 300;

  /// `environment` is complete. `errorOutput` replaces the file that collects standard error.
  Child(std::vector<std::string> command, std::vector<std::string> environment, int errorOutput = -1)
      : errors_(memfd_create("errors", MFD_CLOEXEC)) {
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) std::abort();
    // Without it, lines that processes write at the same time overwrite each other.
    if (fcntl(errors_, F_SETFL, O_APPEND) != 0) std::abort();
    const std::vector<char*> arguments = pointers(command), variables = pointers(environment);
    if ((process_ = fork()) < 0) std::abort();
    if (process_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      dup2(errorOutput >= 0 ? errorOutput : errors_, STDERR_FILENO);
      close_range(3, ~0u, CLOSE_RANGE_CLOEXEC);
      signal(SIGPIPE, SIG_DFL);
      alarm(kLimitSeconds);
      execve(arguments[0], arguments.data(), variables.data());
      _exit(99);
    }
    close(in[0]);
    close(out[1]);
    in_ = fdopen(in[1], "w");
    out_ = fdopen(out[0], "r");
  }
  ~Child() {
    if (process_ > 0) {
      send(SIGKILL);
      waitpid(process_, nullptr, 0);
    }
    if (in_ != nullptr) std::fclose(in_);
    std::fclose(out_);
    close(errors_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void say(const std::string& text) const {
    std::fprintf(in_, "%s\n", text.c_str());
    std::fflush(in_);
  }
  /// The next line, or "(ended)" at the end of the output.
  std::string line() {
    std::string text;
    for (int byte = 0; (byte = std::getc(out_)) != '\n'; text += static_cast<char>(byte)) {
      if (byte == EOF) return "(ended)";
    }
    return text;
  }
  /// Sends each line and returns the answer to the last.
  std::string ask(std::initializer_list<std::string> texts) {
    std::string answer;
    for (const std::string& each : texts) {
      say(each);
      answer = line();
    }
    return answer;
  }
  std::string ask(const std::string& text) { return ask({text}); }

  /// Closes its standard input and waits for it to exit.
  Outcome end() {
    std::fclose(std::exchange(in_, nullptr));
    std::string out;
    for (int byte = 0; (byte = std::getc(out_)) != EOF;) out += static_cast<char>(byte);
    int status = 0;
    waitpid(std::exchange(process_, -1), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), out, errors()};
  }
  void send(int signal) const {
    if (process_ > 0) kill(process_, signal);  // -1 would address every process
  }

  /// Its standard error so far.
  [[nodiscard]] std::string errors() const { return bytesOf("/proc/self/fd/" + std::to_string(errors_)); }
  /// The path of a file in the process's /proc folder.
  [[nodiscard]] std::string proc(const std::string& name) const {
    return "/proc/" + std::to_string(process_) + "/" + name;
  }
  [[nodiscard]] std::size_t descriptorCount() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(proc("fd")), {}));
  }
  /// The concatenated values of the lines of a status file whose names contain `key`.
  [[nodiscard]] static std::string statusIn(const std::string& path, const std::string& key) {
    std::ifstream status(path);
    std::string values;
    for (std::string line; std::getline(status, line);) {
      const auto colon = line.find(':');
      if (line.substr(0, colon).find(key) != std::string::npos) values += line.substr(colon + 1);
    }
    return values;
  }
  /// The name and `statusIn` of each thread but the first. Under a sanitizer, only of the library's threads.
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> threads(const std::string& key) const {
    std::vector<std::pair<std::string, std::string>> found;
    for (const auto& task : std::filesystem::directory_iterator(proc("task"))) {
      if (task.path().filename() == std::to_string(process_)) continue;
      const std::string name = bytesOf(task.path() / "comm"), values = statusIn(task.path() / "status", key);
      if (!values.empty() && (!kIsSanitized || name.starts_with("tw-"))) found.emplace_back(name, values);
    }
    return found;
  }

 private:
  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& each : texts) result.push_back(each.data());
    result.push_back(nullptr);
    return result;
  }

  pid_t process_ = -1;
  int errors_ = -1;
  std::FILE *in_ = nullptr, *out_ = nullptr;
};

}  // namespace tidewell

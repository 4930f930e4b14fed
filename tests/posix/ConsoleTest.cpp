// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>

#include <cerrno>
#include <ctime>
#include <regex>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

class ConsoleTest : public PosixTest {
 protected:
  PosixPlatform platform{options()};
  platform::Console& console = platform.console();
};

TEST_F(ConsoleTest, WritesAPrefixAndEscapesControlCharacters) {
  setenv("TZ", "Asia/Tokyo", 1);  // the time is UTC in any time zone
  const std::string path = folder + "/stderr", longText(1 << 20, 'x');
  ASSERT_EQ(inChild([&] {
              dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
              console.write("first\nof two %@" + std::to_string(getpid()));
              console.write(
                  std::string("\x1b[2J\r\a\0\x7f\xc2\x9b"
                              "1m \t\xc3\xa9 \xf0\x9f\x9b\x91\xc2",
                              22));
              console.write(longText);
              int ends[2];
              ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
              dup2(ends[1], STDERR_FILENO);
              console.write(longText);  // gives up on a full pipe
            }),
            0);
  const std::string written = bytesOf(path);
  static const std::regex kFirst(
      "([-0-9]{10} [:0-9]{8})\\.[0-9]{6}\\+0000 tests_posix\\[([0-9]+)\\] first\nof two %@\\2\n");
  std::smatch found;
  ASSERT_TRUE(std::regex_search(written, found, kFirst, std::regex_constants::match_continuous))
      << written.substr(0, 99);
  tm parts{};
  ASSERT_NE(strptime(found.str(1).c_str(), "%Y-%m-%d %H:%M:%S", &parts), nullptr);
  EXPECT_NEAR(static_cast<double>(timegm(&parts)), static_cast<double>(std::time(nullptr)), 600);
  EXPECT_NE(written.find("] \\u001b[2J\\u000d\\u0007\\u0000\\u007f\\u009b"
                         "1m \t\xc3\xa9 \xf0\x9f\x9b\x91\xc2\n"),
            std::string::npos);
  EXPECT_TRUE(written.ends_with("] " + longText + "\n"));
}

TEST_F(ConsoleTest, FailedWritesRaiseNoSignalAndLeaveSignalsUnchanged) {
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    for (const int how : {SIG_UNBLOCK, SIG_BLOCK}) {
      std::atomic<int>& survived = countOverForks();
      const int status = inChild([&] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        if (signal == SIGXFSZ) ends[1] = open((folder + "/stderr").c_str(), O_WRONLY | O_CREAT, 0600);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        std::signal(signal, SIG_DFL);
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, signal);
        sigprocmask(how, &signals, nullptr);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        if (!platform.fileManager().replaceFile(folder + "/file", "too long")) return;
        errno = 5;
        console.write("unread");
        if (errno == 5 && sigpending(&signals) == 0 && sigismember(&signals, signal) == 0) ++survived;
        sigfillset(&signals);
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
        raise(signal);
      });
      EXPECT_EQ(status, -signal);
      EXPECT_EQ(survived, 1) << signal << " " << how;
    }
  }
}

TEST_F(ConsoleTest, TheHostsSinkMayLogAndThrow) {
  std::vector<std::string> lines;
  platform::Console* itself = nullptr;
  Options with = options();
  with.setConsoleSink([&](std::string_view text) {
    lines.emplace_back(text);
    if (lines.size() == 1) itself->write("from the sink");
    throw 1;
  });
  PosixPlatform other(with);
  itself = &other.console();
  itself->write("text");
  EXPECT_EQ(lines, (std::vector<std::string>{"text", "from the sink"}));
}

}  // namespace
}  // namespace tidewell::posix

#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <ctime>

#include "posix/PosixTest.h"

namespace tidewell::posix {
namespace {

class ConsoleTest : public PosixTest {
 protected:
  PosixPlatform platform{options()};
  platform::Console& console = platform.console();
};

TEST_F(ConsoleTest, ALineHasTimeProgramProcessAndTheText) {
  setenv("TZ", "Asia/Tokyo", 1);  // the line's time is UTC wherever the host is
  const std::string path = folder + "/stderr";
  ASSERT_EQ(inChild([&] {
              dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
              console.write("first\nof two %@");
              console.write(
                  std::string("\x1b[2J\r\a\0\x7f\xc2\x9b"
                              "1m \t\xc3\xa9 \xf0\x9f\x9b\x91\xc2",
                              22));
              console.write(std::string(1 << 20, 'x'));
              writeFile(folder + "/pid", std::to_string(getpid()));
              return 0;
            }),
            0);
  const std::string written = bytesOf(path);
  const std::string first = written.substr(0, written.find("%@\n") + 3);
  EXPECT_TRUE(matches(
      first, "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}\\+0000 tests_posix\\[" +
                 bytesOf(folder + "/pid") + "\\] first\nof two %@\n"))
      << first;
  tm parts{};
  ASSERT_NE(strptime(first.c_str(), "%Y-%m-%d %H:%M:%S", &parts), nullptr);
  EXPECT_NEAR(static_cast<double>(timegm(&parts)), static_cast<double>(std::time(nullptr)), 60);
  EXPECT_NE(written.find("] \\u001b[2J\\u000d\\u0007\\u0000\\u007f\\u009b"
                         "1m \t\xc3\xa9 \xf0\x9f\x9b\x91\xc2\n"),
            std::string::npos)
      << "what a terminal would act on is shown";
  EXPECT_TRUE(written.ends_with(" " + std::string(1 << 20, 'x') + "\n"));
}

TEST_F(ConsoleTest, AReaderThatIsGoneOrAFileAtItsLimitDoesNotEndTheProcess) {
  const CountOverForks survived;
  int expected = 0;
  for (const std::string_view output : {"pipe", "socket", "file"}) {
    for (const bool isBlockedByHost : {false, true}) {
      const int signal = output == "file" ? SIGXFSZ : SIGPIPE;
      const int status = inChild([&] {
        int ends[2] = {-1, open((folder + "/stderr").c_str(), O_WRONLY | O_CREAT, 0600)};
        if (output == "socket" && socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 1;
        if (output == "pipe" && pipe(ends) != 0) return 1;
        const rlimit none{0, 0};
        if (setrlimit(RLIMIT_FSIZE, &none) != 0) return 1;
        std::signal(signal, SIG_DFL);
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, signal);
        if (isBlockedByHost) sigprocmask(SIG_BLOCK, &signals, nullptr);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        errno = 5;
        console.write("nobody reads this");
        if (errno != 5) return 2;
        // What the library caused is gone, and the host's own signals come as ever.
        if (sigpending(&signals) != 0 || sigismember(&signals, signal) != 0) return 3;
        sigfillset(&signals);
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
        ++survived.count;
        raise(signal);
        return 4;
      });
      EXPECT_EQ(status, -signal) << output << isBlockedByHost;
      EXPECT_EQ(survived.count, ++expected) << output << isBlockedByHost;
    }
  }
}

TEST_F(ConsoleTest, AFullPipeThatTheHostMadeNonBlockingIsNotWaitedForLong) {
  EXPECT_EQ(inChild([&] {
              int ends[2];
              if (pipe2(ends, O_NONBLOCK) != 0) return 1;
              dup2(ends[1], STDERR_FILENO);
              const auto start = std::chrono::steady_clock::now();
              console.write(std::string(1 << 20, 'x'));
              return std::chrono::steady_clock::now() - start < std::chrono::seconds(2) ? 0 : 2;
            }),
            0);
}

TEST_F(ConsoleTest, TheHostsSinkTakesTheTextAndMayLogAndThrow) {
  std::vector<std::string> lines;
  PosixPlatform* self = nullptr;
  Options with = options();
  with.consoleSink = [&](std::string_view text) {
    lines.emplace_back(text);
    if (lines.size() == 1) self->console().write("from the sink");
    throw 1;
  };
  PosixPlatform other(with);
  self = &other;
  other.console().write("text");
  EXPECT_EQ(lines, (std::vector<std::string>{"text", "from the sink"}));
}

}  // namespace
}  // namespace tidewell::posix

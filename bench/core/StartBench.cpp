// SPDX-License-Identifier: Apache-2.0
// The cost of the SDK for a host on the default platform: the second start, and log lines.

#include <fcntl.h>
#include <signal.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "Ratio.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/posix/PosixPlatform.h"

using namespace tidewell;

namespace {

constexpr const char* kBundle = "org.example.bench";

void install(const std::string& dataHome) {
  posix::Options options;
  options.setBundleIdentifier(kBundle);
  options.setVersion("1.2.3");
  options.setDataHome(dataHome);
  if (posix::install(std::move(options)) == nullptr) std::abort();
}

/// The first process, which writes the files that the second one reads.
void prepare(const std::string& dataHome) {
  install(dataHome);
  TWCoreUtils::saveAppId("ABC123");
  (void)TWCoreUtils::getSDKUniqueIdForUser();
  base::Array events;
  for (int i = 0; i < 30; ++i) events.addObject("event_name_" + std::to_string(i));
  TWConfigManager::sharedInstance().updateConfigFromResponse(base::Dictionary{
      {"a_s", "allowed"}, {"b_e", events}, {"f_e", events}, {"b_uid_r", base::Array{"test.*"}}});
  platform::Platform& platform = platform::Platform::current();
  platform.standardUserDefaults().setObject(platform.clock().now(), kConfigLastUpdatedKey);
  platform.standardUserDefaults().synchronize();
}

double ourStart(const std::string& dataHome) {
  install(dataHome);
  return bench::secondsOf([] { TidewellCore::sharedInstance().initializeWithAppID("ABC123"); });
}

double ourWholeStart(const std::string& dataHome) {
  return bench::secondsOf([&] { ourStart(dataHome); });
}

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) std::abort();
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Lists the same folders and reads and decodes the same files.
double bareStart(const std::string& dataHome) {
  const std::string library = dataHome + "/" + kBundle + "/Library/";
  return bench::secondsOf([&] {
    for (const char* folder : {"Preferences", "Tidewell"}) {
      for (const auto& each : std::filesystem::directory_iterator(library + folder)) bench::keep(each);
    }
    bench::keep(base::propertyListWithData(contents(library + "Preferences/" + kBundle + ".plist")));
    base::unarchiveRecord(
        contents(library + "Tidewell/TdwConfig"), "TWConfig", [](base::KeyedDecoder& decoder) {
          for (const char* key : {"a_s", "i_s", "in_s", "g_s", "le_s", "d_t", "p_f_s", "b_e", "d_t_w_e",
                                  "f_e", "src_ext", "b_uid_r", "le_tkn", "d_r_r"}) {
            bench::keep(decoder.decodeObjectForKey(key));
          }
          for (const char* key : {"i_d_e", "p_f_t", "dt_s_t", "u_a_c_t", "s_i_d", "e_b_c"}) {
            bench::keep(decoder.decodeInt64ForKey(key));
          }
        });
  });
}

/// Runs this program again as a new process and reads the number that it prints.
double life(const char* what, const std::string& dataHome) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl("/proc/self/exe", "bench_start", what, dataHome.c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  char text[64] = {};
  if (read(ends[0], text, sizeof text - 1) < 0) std::abort();
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) std::abort();
  return std::strtod(text, nullptr);
}

/// Redirects standard error to a file in memory during its lifetime, so that no disk is involved.
class ErrorToMemory {
 public:
  ErrorToMemory() : saved_(dup(STDERR_FILENO)) {
    const int file = memfd_create("stderr", MFD_CLOEXEC);
    dup2(file, STDERR_FILENO);
    close(file);
  }
  ~ErrorToMemory() {
    dup2(saved_, STDERR_FILENO);
    close(saved_);
  }
  ErrorToMemory(const ErrorToMemory&) = delete;
  ErrorToMemory& operator=(const ErrorToMemory&) = delete;

 private:
  int saved_;
};

void logLines(std::size_t times) {
  TWLogger::debug(TWLogLevelDebug);
  while (times--) logLine([] { return "Config request initiated:"; });
  TWLogger::debug(TWLogLevelOff);
}

void addWrittenLines() {
  const bench::Work ours = [](std::size_t times) {
    const ErrorToMemory redirected;
    logLines(times);
  };
  std::string line;
  {
    const ErrorToMemory redirected;
    logLines(1);
    line = contents("/proc/self/fd/" + std::to_string(STDERR_FILENO));
  }
  bench::ratio("log line written, beside a bare write of its bytes", 1.5, ours, [line](std::size_t times) {
    const ErrorToMemory redirected;
    while (times--) bench::keep(write(STDERR_FILENO, line.data(), line.size()));
  });
  const auto withSpdlog = [](auto around) -> bench::Work {
    return [around](std::size_t times) {
      const ErrorToMemory redirected;
      spdlog::logger logger("bench", std::make_shared<spdlog::sinks::stderr_sink_mt>());
      logger.flush_on(spdlog::level::info);
      while (times--) around([&] { logger.info("Tidewell - {}", "Config request initiated:"); });
    };
  };
  bench::ratio("log line written, beside spdlog flushed", 1, ours, withSpdlog([](auto write) { write(); }));
  // A library must do this if its host must not get SIGPIPE or SIGXFSZ.
  bench::ratio("the same if the peer also blocks the signals of a write", 1, ours, withSpdlog([](auto write) {
                 sigset_t signals, before;
                 sigemptyset(&signals);
                 sigaddset(&signals, SIGPIPE);
                 sigaddset(&signals, SIGXFSZ);
                 pthread_sigmask(SIG_BLOCK, &signals, &before);
                 write();
                 pthread_sigmask(SIG_SETMASK, &before, nullptr);
               }));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--prepare") == 0) return prepare(argv[2]), std::puts("0"), 0;
  if (argc == 3 && std::strcmp(argv[1], "--ours") == 0) return std::printf("%.9f\n", ourStart(argv[2])), 0;
  if (argc == 3 && std::strcmp(argv[1], "--whole") == 0)
    return std::printf("%.9f\n", ourWholeStart(argv[2])), 0;
  if (argc == 3 && std::strcmp(argv[1], "--bare") == 0) return std::printf("%.9f\n", bareStart(argv[2])), 0;

  char folder[] = "/tmp/tidewell-bench-XXXXXX";
  if (mkdtemp(folder) == nullptr) return 1;
  const std::string dataHome = folder;
  (void)life("--prepare", dataHome);
  bench::measured("initializeWithAppID, second start, beside listing and reading its files", 2.5, [=] {
    return bench::Pair{life("--ours", dataHome), life("--bare", dataHome)};
  });
  constexpr double kLongestStart = 0.0005;
  bench::measured("install and initializeWithAppID, second start, beside 0.5 ms", 1, [=] {
    return bench::Pair{life("--whole", dataHome), kLongestStart};
  });
  install(dataHome);
  addWrittenLines();
  const int status = bench::run(argc, argv);
  std::filesystem::remove_all(folder);
  return status;
}

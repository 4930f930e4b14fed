// SPDX-License-Identifier: Apache-2.0
// The cost of the default platform beside that of the system calls it needs.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "Ratio.h"
#include "tidewell/posix/PosixPlatform.h"

namespace {

using namespace tidewell;

/// A folder on the disk of the build tree, because a flush costs nothing on a file system in memory.
const std::string& folder() {
  static const std::string path = [] {
    std::string name = std::filesystem::current_path() / "tidewell-bench-XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    return name;
  }();
  return path;
}

posix::PosixPlatform& platform() {
  static auto* const made = [] {
    posix::Options options;
    options.setBundleIdentifier("org.example.bench");
    options.setVersion("1");
    options.setDataHome(folder() + "/data");
    options.setMainLoop(posix::MainLoop::host);
    return new posix::PosixPlatform(options);
  }();
  return *made;
}

void writeWhole(int descriptor, std::string_view bytes) {
  if (write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
}

enum class FolderFlush { no, yes };

/// What replacing a file needs; with the folder's flush, the new content also survives a power loss at once.
void replaceBare(std::string_view bytes, FolderFlush flush) {
  const std::string path = folder() + "/bare", temporary = path + ".tmp";
  const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  writeWhole(file, bytes);
  if (fsync(file) != 0 || close(file) != 0 || std::rename(temporary.c_str(), path.c_str()) != 0) std::abort();
  if (flush == FolderFlush::no) return;
  const int parent = open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fsync(parent) != 0 || close(parent) != 0) std::abort();
}

/// One way of replacing a file of 2 KB. scripts/bench-processes counts the system calls of each.
struct Replacement {
  const char* name;
  void (*once)(std::string_view bytes);
};
constexpr Replacement kOurs{"ours", [](std::string_view bytes) {
                              if (platform().fileManager().replaceFile(folder() + "/ours", bytes))
                                std::abort();
                            }};
constexpr Replacement kBare{"bare", [](std::string_view bytes) { replaceBare(bytes, FolderFlush::no); }};
constexpr Replacement kBareFlushed{"flushed",
                                   [](std::string_view bytes) { replaceBare(bytes, FolderFlush::yes); }};

bench::Work replacing(const Replacement& way) {
  return [once = way.once](std::size_t n) {
    static const std::string archive(2048, 'x');
    while (n--) once(archive);
  };
}

void fileRows() {
  const bench::Options options{.turns = 15, .secondsPerTurn = 0.1};
  bench::ratio("file replaced: bare write, flush, rename", 1.1, replacing(kOurs), replacing(kBare), options);
  bench::ratio("file replaced: the same, and the folder's flush", 0, replacing(kOurs),
               replacing(kBareFlushed), options);
}

void userDefaultsRows() {
  bench::ratio(
      "user default read: one stat", 0,
      [](std::size_t n) {
        while (n--) bench::keep(platform().standardUserDefaults().objectForKey("key"));
      },
      [](std::size_t n) {
        struct stat record {};
        while (n--) bench::keep(stat((folder() + "/ours").c_str(), &record));
      });
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string_view(argv[1]) == "--replace") {
    for (const Replacement& way : {kOurs, kBare, kBareFlushed}) {
      if (std::string_view(argv[2]) == way.name) replacing(way)(std::strtoul(argv[3], nullptr, 10));
    }
    std::filesystem::remove_all(folder());
    return 0;
  }
  fileRows();
  userDefaultsRows();
  const int status = bench::run(argc, argv);
  std::filesystem::remove_all(folder());
  return status;
}

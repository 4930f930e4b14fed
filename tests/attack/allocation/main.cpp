// Allocation torture: allocations of a scenario fail, one after the other, alone and with those that follow,
// each time in a process of its own.
//
//   allocation_torture [--offline] [--every] [--most N] [SCENARIO [FIRST NUMBER]]
//
// One allocation of each call stack fails, evenly spread over at most N (100) of a scenario; with --every,
// each allocation. What goes wrong is printed with the call stack of the allocation.
#include <execinfo.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <unordered_set>

#include "attack/allocation/Allocations.h"
#include "attack/allocation/Scenarios.h"
#include "tidewell/testing/StandInBackend.h"

namespace {

using namespace tidewell::torture;

constexpr unsigned kPatienceSeconds = 120;
constexpr std::size_t kJobs = 2;
/// How many allocations fail in a row.
constexpr std::size_t kNumbers[] = {1, 60};

/// What a child tells its parent.
struct Shared {
  std::size_t count;
  std::uint64_t stacks[Allocations::kMaximumNoted];
};

struct Case {
  const Scenario* scenario;
  std::size_t first;
  std::size_t number;
};

std::string folder;

void explainDeath(int signal) {
  Allocations::disarm();
  ::signal(SIGALRM, SIG_DFL);
  alarm(5);
  dprintf(STDERR_FILENO, "signal %d; the allocation that failed:\n", signal);
  Allocations::writeFailedStack(STDERR_FILENO);
  void* frames[Allocations::kMaximumFrames];
  const int count = backtrace(frames, Allocations::kMaximumFrames);
  dprintf(STDERR_FILENO, "-- it ended here:\n");
  Allocations::writeStack(STDERR_FILENO, frames, static_cast<std::size_t>(count));
  _exit(1);
}

/// Runs `body` in a child that does not outlive this process; its standard error goes to a file.
template <class Body>
pid_t inChild(const std::string& errors, Body&& body) {
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (std::freopen(errors.c_str(), "w", stderr) == nullptr) _exit(2);
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  static char handlerStack[64 << 10];
  const stack_t onItsOwn{handlerStack, 0, sizeof handlerStack};
  sigaltstack(&onItsOwn, nullptr);
  struct sigaction explain {};
  explain.sa_handler = explainDeath;
  explain.sa_flags = SA_ONSTACK;
  for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGALRM})
    sigaction(signal, &explain, nullptr);
  alarm(kPatienceSeconds);
  body();
  _exit(0);
}

void run(const Case& c, World world, Shared& shared) {
  enter(world);
  c.scenario->prepare();
  Allocations::arm(c.first, c.number, shared.stacks);
  c.scenario->act();
  Allocations::disarm();
  shared.count = Allocations::count();
  checkThatTheSdkWorks(c.scenario->usesNetwork);
  c.scenario->check();
}

std::string lineOf(const std::string& moduleAndOffset) {
  const std::string command = "addr2line -Cfpse " + moduleAndOffset + " 2>/dev/null";
  char line[400] = "";
  if (std::FILE* const output = popen(command.c_str(), "r")) {
    static_cast<void>(std::fgets(line, sizeof line, output));
    pclose(output);
  }
  return line[0] == '?' || line[0] == '\0' ? moduleAndOffset + "\n" : line;
}

void printErrors(const std::string& path) {
  std::ifstream errors(path);
  for (std::string line; std::getline(errors, line);) {
    std::printf("    %s", line.starts_with('/') ? lineOf(line).c_str() : (line + "\n").c_str());
  }
}

/// The cases of one scenario, some at a time. How many went wrong.
class Runner {
 public:
  Runner(World world, Shared& shared) : world_(std::move(world)), shared_(shared) {}

  void start(const Case& c) {
    while (running_.size() >= kJobs) finishOne();
    const std::string home = folder + "/" + std::to_string(++started_);
    std::filesystem::copy(folder + "/before", home, std::filesystem::copy_options::recursive);
    World world = world_;
    world.dataHome = home;
    if (!c.scenario->usesNetwork) world.port = 1;
    running_[inChild(home + ".errors", [&] { run(c, world, shared_); })] = {c, home};
  }
  void finishAll() {
    while (!running_.empty()) finishOne();
  }
  [[nodiscard]] int wrong() const { return wrong_; }

 private:
  void finishOne() {
    int status = 0;
    const pid_t child = wait(&status);
    const auto found = running_.find(child);
    if (found == running_.end()) {
      std::printf("the backend ended\n");
      std::exit(2);
    }
    const auto [c, home] = found->second;
    running_.erase(found);
    if (status != 0) {
      ++wrong_;
      std::printf("!! %s: allocation %zu and %zu more: status %#x\n", c.scenario->name, c.first, c.number - 1,
                  status);
      printErrors(home + ".errors");
      std::fflush(stdout);
    }
    std::filesystem::remove_all(home);
    std::filesystem::remove(home + ".errors");
  }

  const World world_;
  Shared& shared_;
  std::map<pid_t, std::pair<Case, std::string>> running_;
  std::size_t started_ = 0;
  int wrong_ = 0;
};

/// In a process of its own, whose memory does not fail.
World startBackend() {
  struct Ready {
    std::uint16_t port;
    char caFile[200];
  } ready{};
  int ends[2];
  if (pipe(ends) != 0) std::exit(2);
  inChild(folder + "/backend.errors", [&] {
    alarm(0);
    tidewell::testing::StandInBackend backend;
    backend.setConfiguration(R"({"a_s": "allowed", "i_s": "blocked", "e_b_c": 7})");
    backend.setResource("/i", "picture", "image/png");
    ready.port = backend.port();
    std::strncpy(ready.caFile, backend.caFile().c_str(), sizeof ready.caFile - 1);
    if (write(ends[1], &ready, sizeof ready) < 0) _exit(1);
    for (;;) pause();
  });
  if (read(ends[0], &ready, sizeof ready) != sizeof ready) std::exit(2);
  return {"", ready.caFile, ready.port};
}

bool torture(Runner& runner, const Scenario& scenario, Shared& shared, std::size_t most) {
  const bool every = most == 0;
  shared.count = 0;
  const int before = runner.wrong();
  runner.start({&scenario, 0, 0});
  runner.finishAll();
  if (shared.count == 0) return false;
  const std::size_t count = shared.count;
  std::unordered_set<std::uint64_t> known;
  std::vector<std::size_t> chosen;
  for (std::size_t i = 0; i < std::min(count, Allocations::kMaximumNoted); ++i) {
    if (shared.stacks[i] == 0) continue;
    if (every || known.insert(shared.stacks[i]).second) chosen.push_back(i + 1);
  }
  const std::size_t tried = every ? chosen.size() : std::min(most, chosen.size());
  for (std::size_t i = 0; i < tried; ++i) {
    for (const std::size_t number : kNumbers) {
      runner.start({&scenario, chosen[i * chosen.size() / tried], number});
    }
  }
  runner.finishAll();
  std::printf("%s: %zu allocations with %zu stacks, %zu of them tried, %d wrong\n", scenario.name, count,
              chosen.size(), tried, runner.wrong() - before);
  std::fflush(stdout);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  bool offline = false;
  std::size_t most = 100;
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--offline") {
      offline = true;
    } else if (word == "--every") {
      most = 0;
    } else if (word == "--most" && i + 1 < argc) {
      most = std::stoul(argv[++i]);
    } else {
      words.push_back(word);
    }
  }
  rlimit none{};
  setrlimit(RLIMIT_CORE, &none);
  void* frame = nullptr;
  backtrace(&frame, 1);  // loads what it needs
  warmUpLibraries();
  std::string name =
      (std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string("/tidewell-torture-XXXXXX");
  folder = mkdtemp(name.data());
  auto& shared = *static_cast<Shared*>(
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

  World world = offline ? World{"", "", 1} : startBackend();
  std::filesystem::create_directory(folder + "/before");
  world.dataHome = folder + "/before";
  int status = 0;
  waitpid(inChild(folder + "/before.errors", [&] { liveBefore(world); }), &status, 0);
  Runner runner(world, shared);
  bool complete = status == 0;
  for (const Scenario& scenario : scenarios) {
    if ((offline && scenario.usesNetwork) || (!words.empty() && words[0] != scenario.name)) continue;
    if (words.size() == 3) {
      runner.start({&scenario, std::stoul(words[1]), std::stoul(words[2])});
      runner.finishAll();
    } else {
      complete = torture(runner, scenario, shared, most) && complete;
    }
  }
  std::filesystem::remove_all(folder);
  std::printf("%d wrong\n", runner.wrong());
  return complete && runner.wrong() == 0 ? 0 : 1;
}

// Every operation in the child of a fork, beside every operation in another thread of its parent:
// `guest_fork_matrix [SECONDS [SEED [PARENT CHILD]]]`. Each pair has a process of its own, so that first uses
// are among the instants. Prints each pair whose child does not end, and ends with 1 then.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "hosts/EveryOperation.h"
#include "tidewell/posix/PosixPlatform.h"

using namespace tidewell;
using guest::Operation;
using guest::require;

namespace {

using Clock = std::chrono::steady_clock;
/// A child that is still there then hangs, on however busy a machine.
constexpr std::chrono::seconds kPatience{30};

posix::PosixPlatform* machine = nullptr;

/// A closure's last reference: its end is the host's code, and calls the SDK.
struct Farewell {
  ~Farewell() { guest::useObjects(), guest::useInterceptors(); }
};

void addToMainQueue() {
  machine->mainQueue().async([farewell = std::make_shared<Farewell>()] {});
}
void pollMainQueue() {
  addToMainQueue();
  machine->pollMainQueue();
}
void runMainQueue() {
  for (int i = 0; i < 3; ++i) {
    machine->mainQueue().async([] {});
    machine->runMainQueue(std::chrono::milliseconds(10));
  }
}
void useGlobalQueue() {
  machine->globalQueue().async([] {});
}

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = [] {
    std::vector<Operation> list(std::begin(guest::kOperations), std::end(guest::kOperations));
    for (const Operation& each :
         {Operation{"main queue: add", addToMainQueue}, Operation{"main queue: poll", pollMainQueue},
          Operation{"main queue: run", runMainQueue}, Operation{"global queue", useGlobalQueue}})
      list.push_back(each);
    return list;
  }();
  return all;
}

enum class Way { plain, second, fromQueue };
constexpr Way kWays[] = {Way::plain, Way::second, Way::fromQueue};
const char* nameOf(Way way) {
  return way == Way::plain    ? ""
         : way == Way::second ? ", in a second fork"
                              : ", forked by a function of the main queue";
}

std::string folder;

/// How a process ended: its status, or -1 where it does not end; it is killed then.
int waitFor(pid_t process) {
  const auto end = Clock::now() + kPatience;
  int status = 0;
  while (waitpid(process, &status, WNOHANG) == 0) {
    if (Clock::now() >= end) {
      if (getenv("TIDEWELL_FORK_MATRIX_STOP") != nullptr) {  // for a debugger
        std::fprintf(stderr, "process %d hangs\n", static_cast<int>(process));
        pause();
      }
      kill(process, SIGKILL);
      waitpid(process, &status, 0);
      return -1;
    }
    usleep(200);
  }
  return status;
}

/// The child: the operation once, or a fork that does it. It ends by `_exit`, as a child does that goes on.
[[noreturn]] void beChild(const Operation& operation, Way way) {
  if (way == Way::second) {
    addToMainQueue();  // what waits in the child is not run in its child, nor destroyed while locks are held
    const pid_t grandchild = fork();
    if (grandchild != 0) _exit(waitFor(grandchild) == 0 ? 0 : 1);
  }
  operation.run();
  _exit(0);
}

/// One process with a thread that does the parent's operation. 0 where every child ended well.
int live(const Operation& parent, const Operation& child, Way way, unsigned seed) {
  posix::Options options;
  options.bundleIdentifier = "org.example.guest";
  options.version = "1.0";
  options.mainLoop = posix::MainLoop::host;
  for (const auto host : {HOST_TDW_PROD_US, HOST_TDW_PROD_SERV3, HOST_TDW_PROD_EU, HOST_LOGENTRIES})
    options.connectionOverrides.push_back({std::string(host), 443, "127.0.0.1", 1});
  machine = posix::install(options);
  require(machine != nullptr, "installation");
  std::atomic<bool> begun{false};
  std::thread([&] {
    begun = true;
    for (int number = 0;; ++number) {
      parent.run();
      if (number > 20'000) usleep(1000);  // what nobody drains must not fill the memory
    }
  }).detach();
  std::mt19937 random(seed);
  while (!begun) {
  }
  for (const unsigned longest : {20u, 200u, 2000u}) {
    const auto instant = Clock::now() + std::chrono::microseconds(random() % longest);
    while (Clock::now() < instant) {
    }
    machine->mainQueue().async([] {});  // beside a thread that may wait for it
    std::atomic<int> status{-2};
    const auto forkAndWait = [&] {
      const pid_t process = fork();
      if (process == 0) beChild(child, way);
      status = waitFor(process);
    };
    if (way == Way::fromQueue) {
      machine->mainQueue().async(forkAndWait);
      while (status == -2) machine->pollMainQueue();  // another thread may drain it
    } else {
      forkAndWait();
    }
    if (status != 0) return status == -1 ? 1 : 2;
  }
  return 0;
}

/// Whether all is well with a pair.
bool check(const Operation& parent, const Operation& child, Way way, unsigned seed) {
  const std::string home = folder + "/" + std::to_string(seed);
  std::fflush(stdout);
  const pid_t process = fork();
  if (process == 0) {
    setenv("XDG_DATA_HOME", home.c_str(), 1);
    _exit(live(parent, child, way, seed));
  }
  int status = 0;
  waitpid(process, &status, 0);
  std::filesystem::remove_all(home);
  if (status == 0) return true;
  const char* const what = WIFSIGNALED(status)        ? strsignal(WTERMSIG(status))
                           : WEXITSTATUS(status) == 1 ? "the child hangs"
                                                      : "the child fails";
  std::printf("%s: child: %s; parent: %s%s (seed %u)\n", what, child.name, parent.name, nameOf(way), seed);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  char name[] = "/tmp/tidewell-fork-matrix-XXXXXX";
  folder = mkdtemp(name);
  const std::chrono::seconds limit(argc > 1 ? std::atoi(argv[1]) : 0);  // 0: all pairs once
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 1;
  struct Pair {
    const Operation *parent, *child;
    Way way;
  };
  std::vector<Pair> pairs;
  for (const Operation& parent : operations()) {
    for (const Operation& child : operations()) {
      if (argc > 4 && (parent.name != std::string_view(argv[3]) || child.name != std::string_view(argv[4])))
        continue;
      for (const Way way : kWays) pairs.push_back({&parent, &child, way});
    }
  }
  std::shuffle(pairs.begin(), pairs.end(), std::mt19937(seed));
  const auto end = Clock::now() + limit;
  unsigned number = 0;
  int wrong = 0;
  do {
    for (const Pair& each : pairs) {
      wrong += !check(*each.parent, *each.child, each.way, seed * 100000 + number);
      ++number;
      if (limit.count() > 0 && Clock::now() >= end) break;
    }
  } while (limit.count() > 0 && Clock::now() < end);
  std::printf("%u of %zu pairs, %d wrong\n", number, pairs.size(), wrong);
  std::filesystem::remove_all(folder);
  return wrong == 0 ? 0 : 1;
}

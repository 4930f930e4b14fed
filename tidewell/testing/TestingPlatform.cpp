// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/TestingPlatform.h"

#include <atomic>
#include <map>
#include <mutex>
#include <utility>

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/testing/internal/ScriptedNetworkState.h"

namespace tidewell::testing {
namespace {

/// The state that survives the end of a process.
struct Machine {
  MemoryUserDefaults defaults;
  base::Mutex suitesMutex;
  std::map<std::string, std::shared_ptr<MemoryUserDefaults>, std::less<>> suites
      TIDEWELL_GUARDED_BY(suitesMutex);
  MemoryFileManager files;
  MemoryKeychain keychain;
  TestDevice device;
  TestBundles bundles;
  VirtualClock clock;
  std::atomic<bool> hasModernLinkOpening{true};
  platform::Policy policy;

  std::shared_ptr<MemoryUserDefaults> suite(std::string_view name) {
    const base::MutexLock lock(suitesMutex);
    auto found = suites.find(name);
    if (found == suites.end()) {
      found = suites.emplace(std::string(name), std::make_shared<MemoryUserDefaults>()).first;
    }
    return found->second;
  }

  void endProcess() {
    defaults.restart();
    const base::MutexLock lock(suitesMutex);
    for (const auto& [name, suite] : suites) suite->restart();
  }
};

}  // namespace

struct TestingPlatform::State {
  explicit State(std::shared_ptr<Machine> onMachine) : machine(std::move(onMachine)) {}

  [[nodiscard]] std::shared_ptr<ScriptedUrlSession> makeSession(
      platform::UrlSessionConfiguration configuration) const {
    return std::make_shared<ScriptedUrlSession>(std::move(configuration), network.state_, sessionQueue);
  }

  std::shared_ptr<Machine> machine;
  RecordingConsole console;
  ManualQueue mainQueue;
  ManualQueue globalQueue;
  std::shared_ptr<ManualQueue> sessionQueue = std::make_shared<ManualQueue>();
  ScriptedNetwork network;
  std::shared_ptr<ScriptedUrlSession> sharedSession = makeSession({});
  ScriptedLinkOpener linkOpener{mainQueue};
  ScriptedPresenter presenter{mainQueue};
};

TestingPlatform::TestingPlatform() : TestingPlatform(std::make_unique<State>(std::make_shared<Machine>())) {}
TestingPlatform::TestingPlatform(std::unique_ptr<State> state) : state_(std::move(state)) {}
TestingPlatform::~TestingPlatform() = default;

std::shared_ptr<TestingPlatform> TestingPlatform::install() {
  auto installed = std::make_shared<TestingPlatform>();
  replaceForTesting(installed);
  return installed;
}

std::shared_ptr<TestingPlatform> TestingPlatform::restart() {
  state_->machine->endProcess();
  std::shared_ptr<TestingPlatform> next(new TestingPlatform(std::make_unique<State>(state_->machine)));
  replaceForTesting(next);
  return next;
}

platform::UserDefaults& TestingPlatform::standardUserDefaults() { return testDefaults(); }
platform::FileManager& TestingPlatform::fileManager() { return testFiles(); }
platform::Keychain& TestingPlatform::keychain() { return testKeychain(); }
platform::Device& TestingPlatform::device() { return testDevice(); }
platform::Bundles& TestingPlatform::bundles() { return testBundles(); }
platform::Clock& TestingPlatform::clock() { return testClock(); }
platform::Console& TestingPlatform::console() { return testConsole(); }
platform::Queue& TestingPlatform::mainQueue() { return testMainQueue(); }
platform::Queue& TestingPlatform::globalQueue() { return testGlobalQueue(); }
platform::LinkOpener& TestingPlatform::linkOpener() { return testLinkOpener(); }
platform::Presenter& TestingPlatform::presenter() { return testPresenter(); }
const platform::Policy& TestingPlatform::policy() const { return state_->machine->policy; }
void TestingPlatform::setPolicy(const platform::Policy& policy) { state_->machine->policy = policy; }
platform::UrlSession& TestingPlatform::sharedUrlSession() { return *state_->sharedSession; }

std::shared_ptr<platform::UserDefaults> TestingPlatform::userDefaultsWithSuiteName(std::string_view name) {
  if (name.empty()) return nullptr;
  return state_->machine->suite(name);
}

std::shared_ptr<platform::UrlSession> TestingPlatform::makeUrlSession(
    platform::UrlSessionConfiguration configuration) {
  return state_->makeSession(std::move(configuration));
}

bool TestingPlatform::hasModernLinkOpening() const { return state_->machine->hasModernLinkOpening; }
void TestingPlatform::setModernLinkOpening(bool modern) { state_->machine->hasModernLinkOpening = modern; }

MemoryUserDefaults& TestingPlatform::testDefaults() { return state_->machine->defaults; }
MemoryUserDefaults& TestingPlatform::testSuite(std::string_view name) {
  return *state_->machine->suite(name);
}
MemoryFileManager& TestingPlatform::testFiles() { return state_->machine->files; }
MemoryKeychain& TestingPlatform::testKeychain() { return state_->machine->keychain; }
TestDevice& TestingPlatform::testDevice() { return state_->machine->device; }
TestBundles& TestingPlatform::testBundles() { return state_->machine->bundles; }
VirtualClock& TestingPlatform::testClock() { return state_->machine->clock; }
RecordingConsole& TestingPlatform::testConsole() { return state_->console; }
ManualQueue& TestingPlatform::testMainQueue() { return state_->mainQueue; }
ManualQueue& TestingPlatform::testGlobalQueue() { return state_->globalQueue; }
ManualQueue& TestingPlatform::testSessionQueue() { return *state_->sessionQueue; }
ScriptedNetwork& TestingPlatform::testNetwork() { return state_->network; }
ScriptedLinkOpener& TestingPlatform::testLinkOpener() { return state_->linkOpener; }
ScriptedPresenter& TestingPlatform::testPresenter() { return state_->presenter; }

std::size_t TestingPlatform::runUntilIdle() {
  std::size_t total = 0;
  for (;;) {
    const std::size_t ran =
        state_->mainQueue.runAll() + state_->globalQueue.runAll() + state_->sessionQueue->runAll();
    if (ran == 0) return total;
    total += ran;
  }
}

void TestingPlatform::enterForeground() {
  platform::NotificationCenter::defaultCenter().postNotificationName(
      platform::UIApplicationWillEnterForegroundNotification);
}

}  // namespace tidewell::testing

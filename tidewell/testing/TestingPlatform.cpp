#include "tidewell/testing/TestingPlatform.h"

#include <atomic>
#include <map>
#include <mutex>
#include <utility>

#include "tidewell/base/internal/Mutex.h"
#include "tidewell/testing/internal/ScriptedNetworkState.h"

namespace tidewell::testing {
namespace {

/// Where a new clock stands: 2018-11-12 17:05:09 UTC.
constexpr double kFirstInstant = 1542042309.0;

base::Dictionary bundleInfo(std::string_view identifier, std::string_view version) {
  return {{platform::kBundleIdentifierKey, identifier}, {platform::kBundleShortVersionKey, version}};
}

}  // namespace

struct VirtualClock::State {
  mutable base::Mutex mutex;
  base::Date now TIDEWELL_GUARDED_BY(mutex){kFirstInstant};
  base::TimeZone timeZone TIDEWELL_GUARDED_BY(mutex) = base::TimeZone::UTC();
};

VirtualClock::VirtualClock() : state_(std::make_unique<State>()) {}
VirtualClock::~VirtualClock() = default;

base::Date VirtualClock::now() const {
  const base::MutexLock lock(state_->mutex);
  return state_->now;
}

base::TimeZone VirtualClock::systemTimeZone() const {
  const base::MutexLock lock(state_->mutex);
  return state_->timeZone;
}

void VirtualClock::setNow(base::Date now) {
  const base::MutexLock lock(state_->mutex);
  state_->now = now;
}

void VirtualClock::advance(double seconds) {
  const base::MutexLock lock(state_->mutex);
  state_->now.secondsSince1970 += seconds;
}

void VirtualClock::setSystemTimeZone(base::TimeZone timeZone) {
  const base::MutexLock lock(state_->mutex);
  state_->timeZone = std::move(timeZone);
}

struct RecordingConsole::State {
  mutable base::Mutex mutex;
  std::vector<std::string> lines TIDEWELL_GUARDED_BY(mutex);
};

RecordingConsole::RecordingConsole() : state_(std::make_unique<State>()) {}
RecordingConsole::~RecordingConsole() = default;

void RecordingConsole::write(std::string_view text) {
  const base::MutexLock lock(state_->mutex);
  state_->lines.emplace_back(text);
}

std::vector<std::string> RecordingConsole::lines() const {
  const base::MutexLock lock(state_->mutex);
  return state_->lines;
}

std::vector<std::string> RecordingConsole::takeLines() {
  const base::MutexLock lock(state_->mutex);
  return std::exchange(state_->lines, {});
}

TestDevice::TestDevice() = default;
TestDevice::~TestDevice() = default;
std::optional<std::string> TestDevice::identifierForVendor() { return identifierForVendorValue; }
std::optional<std::string> TestDevice::model() { return modelValue; }
std::optional<std::string> TestDevice::localizedModel() { return localizedModelValue; }
std::optional<std::string> TestDevice::systemVersion() { return systemVersionValue; }
std::string TestDevice::machine() { return machineValue; }

struct TestBundles::State {
  mutable base::Mutex mutex;
  base::Dictionary mainInfo TIDEWELL_GUARDED_BY(mutex) = bundleInfo("org.example.shop", "1.2.3");
  std::map<std::string, base::Dictionary, std::less<>> others TIDEWELL_GUARDED_BY(mutex){
      {std::string(platform::kSdkBundleIdentifier),
       bundleInfo(platform::kSdkBundleIdentifier, TIDEWELL_VERSION_STRING)}};
};

TestBundles::TestBundles() : state_(std::make_unique<State>()) {}
TestBundles::~TestBundles() = default;

base::Dictionary TestBundles::mainInfoDictionary() {
  const base::MutexLock lock(state_->mutex);
  return state_->mainInfo;
}

std::optional<base::Dictionary> TestBundles::infoDictionaryForIdentifier(std::string_view identifier) {
  const base::MutexLock lock(state_->mutex);
  const auto found = state_->others.find(identifier);
  if (found != state_->others.end()) return found->second;
  if (state_->mainInfo.objectForKey(platform::kBundleIdentifierKey) == base::Value(identifier)) {
    return state_->mainInfo;
  }
  return std::nullopt;
}

void TestBundles::setMainInfoDictionary(base::Dictionary info) {
  const base::MutexLock lock(state_->mutex);
  state_->mainInfo = std::move(info);
}

void TestBundles::setInfoDictionary(std::string_view identifier, std::optional<base::Dictionary> info) {
  const base::MutexLock lock(state_->mutex);
  if (info) {
    state_->others.insert_or_assign(std::string(identifier), std::move(*info));
  } else {
    state_->others.erase(std::string(identifier));
  }
}

namespace {

/// What stays when a process ends.
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

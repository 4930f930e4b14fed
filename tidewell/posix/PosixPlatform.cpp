// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/PosixPlatform.h"

#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/Container.h"
#include "tidewell/posix/internal/Environment.h"
#include "tidewell/posix/internal/Fork.h"
#include "tidewell/posix/internal/HostQueue.h"
#include "tidewell/posix/internal/OptionsState.h"
#include "tidewell/posix/internal/PosixBundles.h"
#include "tidewell/posix/internal/PosixClock.h"
#include "tidewell/posix/internal/PosixConsole.h"
#include "tidewell/posix/internal/PosixDevice.h"
#include "tidewell/posix/internal/PosixFileManager.h"
#include "tidewell/posix/internal/PosixKeychain.h"
#include "tidewell/posix/internal/PosixTransport.h"
#include "tidewell/posix/internal/PosixUserDefaults.h"
#include "tidewell/posix/internal/ProgramName.h"
#include "tidewell/posix/internal/Thread.h"
#include "tidewell/posix/internal/WorkerQueue.h"

namespace tidewell::posix {
namespace {

/// Doubled separators would work, but they would appear in messages.
std::string withoutTrailingSeparators(std::string path) {
  while (path.ends_with('/')) path.pop_back();
  return path;
}

Container makeContainer(const Options::State& options, const Environment& environment) {
  if (!checkPath(options.dataHome)) return Container(options.dataHome, "", options.bundleIdentifier);
  // The home directory is never created; a folder named by XDG_DATA_HOME is.
  return Container(environment.dataHome, environment.dataHomeIsOwn ? "" : environment.home,
                   options.bundleIdentifier);
}

}  // namespace

struct PosixPlatform::State {
  State(PosixPlatform& self, Options::State given, const Environment& environment,
        std::vector<std::string>& complaints)
      : options(std::move(given)),
        isDisabled(posix::isDisabled(options, environment)),
        policy(policyOf(options, environment, complaints)),
        container(makeContainer(options, environment)),
        standardUserDefaults(container, container.userDefaultsFile()),
        fileManager(
            container, [this](std::string sentence) { reportLater(std::move(sentence)); },
            [this](std::string sentence) { announceLater(std::move(sentence)); }),
        keychain(container),
        device(container, options.systemRoot, options.bundleIdentifier),
        bundles(options),
        clock(environment.timeZone, options.systemRoot),
        console(options.consoleSink),
        workerMainQueue("tw-main", WorkerQueue::WithoutThread::runAtOnce),
        globalQueue("tw-global"),
        presenter(options.screenSize),
        transport(makeTransport(transportSettings(options, environment),
                                [&self] { return platform::networkAccess(self); })) {
    if (options.mainLoop == MainLoop::host) hostMainQueue.emplace();
    platform::UrlSessionConfiguration shared;
    shared.name = "shared";
    shared.maximumBodyBytes = options.maximumBodyBytes;
    sharedUrlSession = transport->makeSession(std::move(shared));
  }

  const Options::State options;
  const bool isDisabled;
  const platform::Policy policy;
  const Container container;
  PosixUserDefaults standardUserDefaults;
  PosixFileManager fileManager;
  PosixKeychain keychain;
  PosixDevice device;
  PosixBundles bundles;
  PosixClock clock;
  PosixConsole console;
  std::optional<HostQueue> hostMainQueue;  ///< no value if the library's own thread drains
  WorkerQueue workerMainQueue;
  WorkerQueue globalQueue;
  platform::HeadlessPresenter presenter;
  std::unique_ptr<Transport> transport;
  std::shared_ptr<platform::UrlSession> sharedUrlSession;

  StateMutex suitesMutex;
  std::map<std::string, std::shared_ptr<platform::UserDefaults>, std::less<>> suites
      TIDEWELL_GUARDED_BY(suitesMutex);

  [[nodiscard]] platform::Queue& mainQueue() {
    if (hostMainQueue) return *hostMainQueue;
    return workerMainQueue;
  }

  [[nodiscard]] std::shared_ptr<platform::UserDefaults> knownSuite(std::string_view name) {
    const base::MutexLock lock(suitesMutex);
    const auto found = suites.find(name);
    return found == suites.end() ? nullptr : found->second;
  }

  /// Reports on another thread, which holds none of the caller's locks.
  void reportLater(std::string sentence) {
    globalQueue.async([sentence = std::move(sentence)] { platform::report(sentence); });
  }

  void announceLater(std::string sentence) {
    globalQueue.async(
        [sentence = std::move(sentence)] { platform::announce(platform::Trouble::noContainer, sentence); });
  }

  void post(std::string_view notification) {
    mainQueue().async(
        [notification] { platform::NotificationCenter::defaultCenter().postNotificationName(notification); });
  }
};

PosixPlatform::PosixPlatform(Options options) {
  prepareForForks();
  options.setSystemRoot(withoutTrailingSeparators(options.state().systemRoot));
  const Environment environment = Environment::read();
  std::vector<std::string> complaints = environment.complaints;
  state_ = std::make_unique<State>(*this, options.state(), environment, complaints);
  if (isDisabled()) return;
  if (const std::string& complaint = state_->bundles.complaint(); !complaint.empty()) {
    complaints.push_back("Info.plist is not used: " + complaint);
  }
  for (const std::string& each : complaints) console().write("Tidewell: " + each);
}

PosixPlatform::~PosixPlatform() = default;

platform::UserDefaults& PosixPlatform::standardUserDefaults() { return state_->standardUserDefaults; }

std::shared_ptr<platform::UserDefaults> PosixPlatform::userDefaultsWithSuiteName(std::string_view name) {
  if (name.empty()) return nullptr;
  if (auto known = state_->knownSuite(name)) return known;
  auto suite =
      std::make_shared<PosixUserDefaults>(state_->container, state_->container.userDefaultsFileOfGroup(name));
  // If two threads create the same suite, both use the first one.
  const base::MutexLock lock(state_->suitesMutex);
  return state_->suites.emplace(std::string(name), suite).first->second;
}

platform::FileManager& PosixPlatform::fileManager() { return state_->fileManager; }
platform::Keychain& PosixPlatform::keychain() { return state_->keychain; }
platform::Device& PosixPlatform::device() { return state_->device; }
platform::Bundles& PosixPlatform::bundles() { return state_->bundles; }
platform::Clock& PosixPlatform::clock() { return state_->clock; }
platform::Console& PosixPlatform::console() { return state_->console; }

platform::Queue& PosixPlatform::mainQueue() { return state_->mainQueue(); }
platform::Queue& PosixPlatform::globalQueue() { return state_->globalQueue; }

std::shared_ptr<platform::UrlSession> PosixPlatform::makeUrlSession(
    platform::UrlSessionConfiguration configuration) {
  configuration.maximumBodyBytes = state_->options.maximumBodyBytes;
  return state_->transport->makeSession(std::move(configuration));
}

platform::UrlSession& PosixPlatform::sharedUrlSession() { return *state_->sharedUrlSession; }

bool PosixPlatform::hasModernLinkOpening() const { return state_->options.modernLinkOpening; }

platform::LinkOpener& PosixPlatform::linkOpener() {
  return state_->options.linkOpener ? *state_->options.linkOpener : Platform::linkOpener();
}
platform::Presenter& PosixPlatform::presenter() { return state_->presenter; }
const platform::Policy& PosixPlatform::policy() const { return state_->policy; }
bool PosixPlatform::isDisabled() const { return state_->isDisabled; }

int PosixPlatform::mainQueueDescriptor() const {
  return state_->hostMainQueue ? state_->hostMainQueue->descriptor() : -1;
}

std::size_t PosixPlatform::pollMainQueue() {
  return state_->hostMainQueue ? state_->hostMainQueue->poll() : 0;
}

std::size_t PosixPlatform::runMainQueue(std::chrono::milliseconds duration) {
  return state_->hostMainQueue ? state_->hostMainQueue->run(duration) : 0;
}

void PosixPlatform::enterForeground() {
  state_->post(platform::UIApplicationWillEnterForegroundNotification);
}
void PosixPlatform::enterBackground() { state_->post(platform::UIApplicationDidEnterBackgroundNotification); }

PosixPlatform* install(Options options) {
  const base::CancellationShield shield;
  // A plug-in may be closed while its completions are pending.
  base::keepLoaded(__builtin_return_address(0));
  try {
    if (const std::string complaint = complaintAbout(options); !complaint.empty()) {
      writeLineToStandardError(programName(), "Tidewell: not installed: " + complaint);
      return nullptr;
    }
    if (platform::Platform::isInstalled()) {
      platform::announce(platform::Trouble::secondPlatform, platform::kSecondPlatform);
      return nullptr;
    }
    auto made = std::make_shared<PosixPlatform>(std::move(options));
    PosixPlatform* const pointer = made.get();
    if (made->isDisabled()) {
      platform::Platform::keep(std::move(made));
      return pointer;
    }
    return platform::Platform::install(std::move(made)) ? pointer : nullptr;
  } catch (const std::bad_alloc&) {
    writeLineToStandardError(programName(), "Tidewell: not installed: out of memory");
  }
  return nullptr;
}

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/Platform.h"

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/MadeWhenLoaded.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/platform/UIApplication.h"
#include "tidewell/platform/internal/EmptyPlatform.h"
#include "tidewell/runtime/Description.h"

namespace tidewell::platform {
namespace {

/// Null until a platform is installed. Constant-initialised, so that global constructors of the host may use
/// it.
constinit std::atomic<Platform*> currentPlatform{nullptr};
constinit std::atomic<Reporter> currentReporter{nullptr};
constinit std::atomic<InstallationHandler> installationHandler{nullptr};
/// One bit per kind of trouble, set once it was announced.
constinit std::atomic<unsigned> announced{0};

/// Owns every platform ever installed, so that threads still using an earlier one stay safe.
struct Keeper {
  base::StateMutex mutex;
  std::vector<std::shared_ptr<Platform>> platforms TIDEWELL_GUARDED_BY(mutex);
};

Keeper& keeper() {
  static base::NeverDestroyed<Keeper> instance;
  return *instance;
}

const base::MadeWhenLoaded keeperMade(keeper);

void handleInstallation(const Platform& platform) {
  if (const InstallationHandler handler = installationHandler.load(std::memory_order_acquire))
    handler(platform);
}

/// Makes the application's class available by name.
void declareApplication() { runtime::declareWhenNamed("UIApplication", &runtime::classOf<UIApplication>); }

void announceMissingUnicode(std::string_view text) noexcept { announce(Trouble::noUnicodeModule, text); }

void makeCurrent(Keeper& keeper, std::shared_ptr<Platform> platform) TIDEWELL_REQUIRES(keeper.mutex) {
  Platform* const pointer = platform.get();
  keeper.platforms.push_back(std::move(platform));
  currentPlatform.store(pointer, std::memory_order_release);
  base::setLoadFailureHandler(announceMissingUnicode);
}

/// Returns false, and leaves the argument alone, if a platform is installed already.
bool makeFirst(Keeper& keeper, std::shared_ptr<Platform>&& platform) {
  const base::MutexLock lock(keeper.mutex);
  if (Platform::isInstalled()) return false;
  makeCurrent(keeper, std::move(platform));
  return true;
}

}  // namespace

Bundles::~Bundles() = default;
Clock::~Clock() = default;
Console::~Console() = default;
Device::~Device() = default;
Keychain::~Keychain() = default;
Platform::~Platform() = default;

void Platform::keep(std::shared_ptr<Platform> platform) {
  Keeper& kept = keeper();
  const base::MutexLock lock(kept.mutex);
  kept.platforms.push_back(std::move(platform));
}

Platform& Platform::current() {
  // Pairs with the store in `makeCurrent`: the platform is constructed.
  if (Platform* const installed = currentPlatform.load(std::memory_order_acquire)) return *installed;
  return emptyPlatform();
}

bool Platform::isInstalled() { return currentPlatform.load(std::memory_order_acquire) != nullptr; }

bool Platform::install(std::shared_ptr<Platform> platform) {
  if (!platform) {
    report("There is no platform to install");
    return false;
  }
  declareApplication();
  const Platform* const installed = platform.get();
  if (makeFirst(keeper(), std::move(platform))) {
    handleInstallation(*installed);
    return true;
  }
  if (!announce(Trouble::secondPlatform, kSecondPlatform)) report(kSecondPlatform);
  return false;
}

const Policy& Platform::policy() const {
  static base::NeverDestroyed<const Policy> instance;
  return *instance;
}

LinkOpener& Platform::linkOpener() {
  static base::NeverDestroyed<NoLinkOpener> instance;
  return *instance;
}

Presenter& Platform::presenter() {
  static base::NeverDestroyed<HeadlessPresenter> instance;
  return *instance;
}

void* Platform::extension(std::string_view) { return nullptr; }

void Platform::replaceForTesting(std::shared_ptr<Platform> platform) {
  if (!platform) {
    report("There is no platform to put in force");
    return;
  }
  declareApplication();
  const Platform* const next = platform.get();
  {
    const base::MutexLock lock(keeper().mutex);
    makeCurrent(keeper(), std::move(platform));
  }
  handleInstallation(*next);
}

bool announce(Trouble trouble, std::string_view text) noexcept {
  const unsigned bit = 1u << static_cast<unsigned>(trouble);
  // Relaxed: only counts; publishes nothing.
  if (announced.fetch_or(bit, std::memory_order_relaxed) & bit) return false;
  const base::CancellationShield shield;
  try {
    Platform::current().console().write(std::string("Tidewell: ").append(text));
  } catch (...) {
    // This failure cannot be reported.
  }
  return true;
}

void setInstallationHandler(InstallationHandler handler) noexcept {
  installationHandler.store(handler, std::memory_order_release);
}

void report(std::string_view text) noexcept {
  const Reporter reporter = currentReporter.load(std::memory_order_acquire);
  if (!reporter) return;
  const base::CancellationShield shield;
  try {
    reporter(text);
  } catch (...) {
    // Reporting is the last resort; its own failures are ignored.
  }
}

void setReporter(Reporter reporter) noexcept {
  currentReporter.store(reporter, std::memory_order_release);
  runtime::setReporter(reporter ? static_cast<runtime::Reporter>(report) : nullptr);
}

}  // namespace tidewell::platform

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/testing/ManualQueue.h"
#include "tidewell/testing/MemoryFileManager.h"
#include "tidewell/testing/MemoryKeychain.h"
#include "tidewell/testing/MemoryUserDefaults.h"
#include "tidewell/testing/RecordingConsole.h"
#include "tidewell/testing/ScriptedLinkOpener.h"
#include "tidewell/testing/ScriptedNetwork.h"
#include "tidewell/testing/ScriptedPresenter.h"
#include "tidewell/testing/TestBundles.h"
#include "tidewell/testing/TestDevice.h"
#include "tidewell/testing/VirtualClock.h"

namespace tidewell::testing {

/// A simulated machine under test control: virtual clock, scripted network, manually run queues, user
/// defaults, keychain and files in memory with fault injection, scripted link opener and screen, recording
/// console.
///
/// Presentation happens on the main queue: on a test's own thread, with the next `runUntilIdle`.
///
/// Uses no thread, disk or network. Hosts can test with it how their own code behaves when the SDK or the
/// system refuses something.
class TIDEWELL_EXPORT TestingPlatform final : public platform::Platform {
 public:
  TestingPlatform();
  ~TestingPlatform() override;
  /// Creates a platform and installs it, replacing any other. The previous one stays valid for code that
  /// still uses it.
  static std::shared_ptr<TestingPlatform> install();
  /// Simulates a restart of the process on the same machine: creates and installs another platform, which
  /// shares this one's defaults (without changes not synchronised), files, keychain, device, bundles and
  /// clock, and has new queues, network, link opener, presenter and console.
  std::shared_ptr<TestingPlatform> restart();

  [[nodiscard]] platform::UserDefaults& standardUserDefaults() override;
  [[nodiscard]] std::shared_ptr<platform::UserDefaults> userDefaultsWithSuiteName(
      std::string_view name) override;
  [[nodiscard]] platform::FileManager& fileManager() override;
  [[nodiscard]] platform::Keychain& keychain() override;
  [[nodiscard]] platform::Device& device() override;
  [[nodiscard]] platform::Bundles& bundles() override;
  [[nodiscard]] platform::Clock& clock() override;
  [[nodiscard]] platform::Console& console() override;
  [[nodiscard]] platform::Queue& mainQueue() override;
  [[nodiscard]] platform::Queue& globalQueue() override;
  [[nodiscard]] std::shared_ptr<platform::UrlSession> makeUrlSession(
      platform::UrlSessionConfiguration configuration) override;
  [[nodiscard]] platform::UrlSession& sharedUrlSession() override;
  [[nodiscard]] bool hasModernLinkOpening() const override;
  [[nodiscard]] platform::LinkOpener& linkOpener() override;
  [[nodiscard]] platform::Presenter& presenter() override;
  [[nodiscard]] const platform::Policy& policy() const override;

  // The same parts with their interfaces for tests.
  [[nodiscard]] MemoryUserDefaults& testDefaults();
  /// Created on first use; the object that `userDefaultsWithSuiteName` returns. A suite exists for every name
  /// but "".
  [[nodiscard]] MemoryUserDefaults& testSuite(std::string_view name);
  [[nodiscard]] MemoryFileManager& testFiles();
  [[nodiscard]] MemoryKeychain& testKeychain();
  [[nodiscard]] TestDevice& testDevice();
  [[nodiscard]] TestBundles& testBundles();
  [[nodiscard]] VirtualClock& testClock();
  [[nodiscard]] RecordingConsole& testConsole();
  [[nodiscard]] ManualQueue& testMainQueue();
  [[nodiscard]] ManualQueue& testGlobalQueue();
  /// The serial queue of all sessions' completions.
  [[nodiscard]] ManualQueue& testSessionQueue();
  [[nodiscard]] ScriptedNetwork& testNetwork();
  [[nodiscard]] ScriptedLinkOpener& testLinkOpener();
  [[nodiscard]] ScriptedPresenter& testPresenter();
  void setModernLinkOpening(bool modern);
  /// Survives `restart`. To be called while no other thread uses the platform. A log level takes effect with
  /// the next `restart`.
  void setPolicy(const platform::Policy& policy);

  /// Runs all three queues until they are empty, and returns the number of functions run. Does not return if
  /// functions keep adding functions.
  std::size_t runUntilIdle();
  /// Posts the foreground notification on the calling thread.
  void enterForeground();

 private:
  struct State;
  explicit TestingPlatform(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

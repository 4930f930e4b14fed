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

/// A simulated machine under test control: virtual clock, scripted network, queues that run when told,
/// defaults, keychain and files in memory with faults, other programs and a screen that do what they are
/// told, a console that keeps its lines.
///
/// What is presented reaches the screen on the main queue: with the next `runUntilIdle`, where a test
/// presents on a thread of its own.
///
/// It uses no thread, no disk and no network. Hosts use it to see what their own code does when the SDK says
/// no.
class TIDEWELL_EXPORT TestingPlatform final : public platform::Platform {
 public:
  TestingPlatform();
  ~TestingPlatform() override;
  /// Makes one and puts it in force, whatever was installed before. The earlier one stays whole, so that what
  /// still runs of an earlier life finds it.
  static std::shared_ptr<TestingPlatform> install();
  /// The process ends and starts anew on the same machine: makes the next platform and puts it in force. It
  /// shares this one's defaults (without what was not synchronised), files, keychain, device, bundles and
  /// clock; its queues, network, link opener, presenter and console are new.
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

  // The same parts with the handles of a test.
  [[nodiscard]] MemoryUserDefaults& testDefaults();
  /// Made on first use; the same object as `userDefaultsWithSuiteName` answers. Every name has a suite, but
  /// the empty one.
  [[nodiscard]] MemoryUserDefaults& testSuite(std::string_view name);
  [[nodiscard]] MemoryFileManager& testFiles();
  [[nodiscard]] MemoryKeychain& testKeychain();
  [[nodiscard]] TestDevice& testDevice();
  [[nodiscard]] TestBundles& testBundles();
  [[nodiscard]] VirtualClock& testClock();
  [[nodiscard]] RecordingConsole& testConsole();
  [[nodiscard]] ManualQueue& testMainQueue();
  [[nodiscard]] ManualQueue& testGlobalQueue();
  /// The serial queue on which completions of every session come.
  [[nodiscard]] ManualQueue& testSessionQueue();
  [[nodiscard]] ScriptedNetwork& testNetwork();
  [[nodiscard]] ScriptedLinkOpener& testLinkOpener();
  [[nodiscard]] ScriptedPresenter& testPresenter();
  void setModernLinkOpening(bool modern);

  /// Runs all three queues until all are empty and returns how many functions ran. Never returns if functions
  /// keep adding functions.
  std::size_t runUntilIdle();
  /// Posts the notification of a return to the foreground on the calling thread.
  void enterForeground();

 private:
  struct State;
  explicit TestingPlatform(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/NotificationCenter.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/platform/UrlSession.h"
#include "tidewell/testing/ScriptedLinkOpener.h"
#include "tidewell/testing/ScriptedPresenter.h"

namespace tidewell::testing {

/// A clock that stands still until it is told to move. Any thread.
class TIDEWELL_EXPORT VirtualClock final : public platform::Clock {
 public:
  VirtualClock();
  ~VirtualClock() override;
  [[nodiscard]] base::Date now() const override;
  [[nodiscard]] base::TimeZone systemTimeZone() const override;
  void setNow(base::Date now);
  void advance(double seconds);
  void setSystemTimeZone(base::TimeZone timeZone);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// A console that keeps its lines. Any thread.
class TIDEWELL_EXPORT RecordingConsole final : public platform::Console {
 public:
  RecordingConsole();
  ~RecordingConsole() override;
  void write(std::string_view text) override;
  [[nodiscard]] std::vector<std::string> lines() const;
  /// The lines so far; the console is empty afterwards.
  std::vector<std::string> takeLines();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// A queue that runs its functions when it is told, on the thread that tells it. Functions may be added from
/// any thread, and a function that runs may tell the queue to go on.
class TIDEWELL_EXPORT ManualQueue final : public platform::Queue {
 public:
  ManualQueue();
  ~ManualQueue() override;
  void async(std::function<void()> function) override;
  /// Whether the calling thread runs one of this queue's functions now.
  [[nodiscard]] bool isCurrent() const override;
  [[nodiscard]] std::size_t pending() const;
  /// Runs the first function; NO where there is none.
  bool runOne();
  /// Runs functions until none is left, those included that are added meanwhile. How many ran. An exception
  /// is caught and reported.
  std::size_t runAll();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// User defaults in memory. What was set but not synchronised is seen, and is lost by `restart`. Any thread.
class TIDEWELL_EXPORT MemoryUserDefaults final : public platform::UserDefaults {
 public:
  MemoryUserDefaults();
  ~MemoryUserDefaults() override;
  [[nodiscard]] base::Value objectForKey(std::string_view key) override;
  void setObject(base::Value object, std::string_view forKey) override;
  void removeObjectForKey(std::string_view key) override;
  bool synchronize() override;
  /// What is on the (imagined) disk.
  [[nodiscard]] base::Dictionary synchronized() const;
  /// Another process stores an object (nil removes it): seen here after the next `synchronize`.
  void setSynchronized(base::Value object, std::string_view forKey);
  [[nodiscard]] std::size_t synchronizeCount() const;
  /// The life of a process ends: what was not synchronised is forgotten, what others wrote is seen.
  void restart();
  /// Makes every `synchronize` fail, and report so, until it is switched off.
  void setFailing(bool failing);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

enum class FileOperation { exists, createDirectory, read, replace, move, remove, list, lock };

/// Files in memory. Folders exist once made; `library` and `documents` exist from the start. Any thread.
///
/// The operations of `FileManager` behave as a disk does: parents must exist, a folder is no file. Those of
/// the test make the folders they need. A lock is held against every other taker, whichever thread asks: one
/// on the holder's own thread is refused at once, another waits up to `kMaximumLockWaitSeconds`, and none
/// waits again until a lock that was waited for in vain has been free.
class TIDEWELL_EXPORT MemoryFileManager final : public platform::FileManager {
 public:
  MemoryFileManager();
  ~MemoryFileManager() override;
  [[nodiscard]] std::optional<std::string> pathForDirectory(platform::SearchPathDirectory directory) override;
  [[nodiscard]] platform::FileExistence fileExistsAtPath(std::string_view path) override;
  std::error_code createDirectoryAtPath(std::string_view path) override;
  [[nodiscard]] platform::FileContents contentsOfFile(std::string_view path) override;
  std::error_code replaceFile(std::string_view path, std::string_view contents) override;
  std::error_code moveItem(std::string_view fromPath, std::string_view toPath) override;
  /// A file. A test may remove a folder, too, with all that is in it: `removeTree`.
  std::error_code removeItem(std::string_view path) override;
  [[nodiscard]] platform::DirectoryContents contentsOfDirectory(std::string_view path) override;
  [[nodiscard]] platform::LockResult lockForPath(std::string_view path) override;

  /// nothing: a machine without a home. A path becomes a folder that exists.
  void setLibraryPath(std::optional<std::string> path);
  void setDocumentsPath(std::optional<std::string> path);
  /// nothing where there is no file.
  [[nodiscard]] std::optional<std::string> contents(std::string_view path) const;
  void setContents(std::string_view path, std::string contents);
  /// A file, or a folder with all that is in it.
  void removeTree(std::string_view path);
  /// How often an operation was called.
  [[nodiscard]] std::size_t count(FileOperation operation) const;
  /// Lets the n-th call from now (1 is the next) of an operation fail with an error, `times` calls in a row;
  /// what was planned for the operation before is dropped. `exists` then answers that there is nothing.
  void failCall(FileOperation operation, std::size_t n, std::error_code error, std::size_t times = 1);
  /// Called at the beginning of every operation, with no lock held: for what another process does meanwhile.
  /// What the hook itself calls is not hooked, counted or failed. A `move` shows the path it moves from.
  void setHook(std::function<void(FileOperation, const std::string& path)> hook);

 private:
  struct State;
  std::shared_ptr<State> state_;  ///< shared with the locks that are held
};

/// A keychain in memory with the rules of generic passwords: an item is known by its service and account, a
/// query matches by those of the two that it names. Any thread.
class TIDEWELL_EXPORT MemoryKeychain final : public platform::Keychain {
 public:
  MemoryKeychain();
  ~MemoryKeychain() override;
  std::int32_t itemAdd(const base::Dictionary& attributes) override;
  std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) override;
  std::int32_t itemDelete(const base::Dictionary& query) override;
  [[nodiscard]] std::size_t itemCount() const;
  /// Answers this status to everything until it is 0 again: `errSecInteractionNotAllowed` is a locked
  /// keychain.
  void setStatus(std::int32_t status);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Facts that a test sets. nothing: not known.
class TIDEWELL_EXPORT TestDevice final : public platform::Device {
 public:
  TestDevice();
  ~TestDevice() override;
  [[nodiscard]] std::optional<std::string> identifierForVendor() override;
  [[nodiscard]] std::optional<std::string> model() override;
  [[nodiscard]] std::optional<std::string> localizedModel() override;
  [[nodiscard]] std::optional<std::string> systemVersion() override;
  [[nodiscard]] std::string machine() override;

  // Set before the platform is in use. The values a new one holds: a fixed identifier, iPhone, iPhone, 12.1,
  // iPhone10,3.
  std::optional<std::string> identifierForVendorValue = "6F9619FF-8B86-D011-B42D-00C04FC964FF";
  std::optional<std::string> modelValue = "iPhone";
  std::optional<std::string> localizedModelValue = "iPhone";
  std::optional<std::string> systemVersionValue = "12.1";
  std::string machineValue = "iPhone10,3";
};

/// Info.plists that a test sets. A new one has the main bundle org.example.shop, version 1.2.3, and the SDK's
/// own bundle.
class TIDEWELL_EXPORT TestBundles final : public platform::Bundles {
 public:
  TestBundles();
  ~TestBundles() override;
  [[nodiscard]] base::Dictionary mainInfoDictionary() override;
  [[nodiscard]] std::optional<base::Dictionary> infoDictionaryForIdentifier(
      std::string_view identifier) override;
  void setMainInfoDictionary(base::Dictionary info);
  /// nothing: no such bundle is loaded.
  void setInfoDictionary(std::string_view identifier, std::optional<base::Dictionary> info);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

struct ScriptedNetworkState;

/// A network that a test answers. Tasks wait until the test lets them go on, or are answered by a handler.
/// Any thread.
///
/// What a session promises holds here, too: each completion comes once, later, on the session queue; a task
/// without a URL, one that is not https where the session insists on it, and a body beyond the session's
/// bound fail with the codes of `platform::UrlSession`.
class TIDEWELL_EXPORT ScriptedNetwork {
 public:
  using Handler = std::function<platform::UrlTaskResult(const platform::UrlRequest& request)>;

  ScriptedNetwork();
  ~ScriptedNetwork();
  /// Answers every task that is started from now on; called on the session queue, with no lock held. An
  /// exception that leaves it fails the task. An empty one leaves tasks pending again.
  void setHandler(Handler handler);
  /// Every request so far, the pending ones included, with the name of its session.
  struct Sent {
    std::string session;
    platform::UrlRequest request;
  };
  [[nodiscard]] std::vector<Sent> sent() const;
  [[nodiscard]] std::size_t pending() const;
  /// Ends the oldest pending task: its completion is put on the session queue. NO where none is pending.
  bool answer(platform::UrlTaskResult result);

  /// A result with a status and a body, for handlers. The task's own URL becomes that of the response.
  [[nodiscard]] static platform::UrlTaskResult reply(std::int64_t statusCode, std::string body = {});
  /// A result that is no answer, only an error of `base::kUrlErrorDomain`.
  [[nodiscard]] static platform::UrlTaskResult failure(std::int64_t code, std::string description);

 private:
  friend class TestingPlatform;
  std::shared_ptr<ScriptedNetworkState> state_;
};

/// A machine in the hands of a test: virtual clock, scripted network, queues that run when told, defaults,
/// keychain and files in memory with faults, other programs and a screen that do what they are told, a
/// console that keeps its lines.
///
/// What is presented reaches the screen on the main queue: with the next `runUntilIdle`, where a test
/// presents on a thread of its own.
///
/// Nothing happens behind the test's back: no thread, no disk, no network. Hosts use it to see what their own
/// code does when the SDK says no.
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

  /// Runs all three queues until none has anything left. How many functions ran. Never returns where
  /// functions go on adding functions.
  std::size_t runUntilIdle();
  /// Posts the notification of a return to the foreground on the calling thread.
  void enterForeground();

 private:
  struct State;
  explicit TestingPlatform(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

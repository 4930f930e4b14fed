// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/internal/EmptyPlatform.h"

#include <chrono>
#include <deque>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include "tidewell/base/internal/AllSignalsBlocked.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/platform/UrlSession.h"

namespace tidewell::platform {
namespace {

class NoUserDefaults final : public UserDefaults {
 public:
  base::Value objectForKey(std::string_view) override { return {}; }
  void setObject(base::Value, std::string_view) override {}
  void removeObjectForKey(std::string_view) override {}
  bool synchronize() override { return false; }
};

class NoFiles final : public FileManager {
 public:
  std::optional<std::string> pathForDirectory(SearchPathDirectory) override { return std::nullopt; }
  FileExistence fileExistsAtPath(std::string_view) override { return {}; }
  std::error_code createDirectoryAtPath(std::string_view) override { return refusal(); }
  FileContents contentsOfFile(std::string_view) override {
    return {{}, std::make_error_code(std::errc::no_such_file_or_directory)};
  }
  std::error_code replaceFile(std::string_view, std::string_view) override { return refusal(); }
  std::error_code moveItem(std::string_view, std::string_view) override {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  std::error_code removeItem(std::string_view) override {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  DirectoryContents contentsOfDirectory(std::string_view) override {
    return {{}, std::make_error_code(std::errc::no_such_file_or_directory)};
  }
  LockResult lockForPath(std::string_view) override { return {nullptr, refusal()}; }

 private:
  static std::error_code refusal() { return std::make_error_code(std::errc::read_only_file_system); }
};

class NoKeychain final : public Keychain {
 public:
  std::int32_t itemAdd(const base::Dictionary&) override { return errSecNotAvailable; }
  std::int32_t itemCopyMatching(const base::Dictionary&, base::Data&) override { return errSecNotAvailable; }
  std::int32_t itemDelete(const base::Dictionary&) override { return errSecNotAvailable; }
};

class UnknownDevice final : public Device {
 public:
  std::optional<std::string> identifierForVendor() override { return std::nullopt; }
  std::optional<std::string> model() override { return std::nullopt; }
  std::optional<std::string> localizedModel() override { return std::nullopt; }
  std::optional<std::string> systemVersion() override { return std::nullopt; }
  std::string machine() override { return {}; }
};

class NoBundles final : public Bundles {
 public:
  base::Dictionary mainInfoDictionary() override { return {}; }
  std::optional<base::Dictionary> infoDictionaryForIdentifier(std::string_view) override {
    return std::nullopt;
  }
};

class RealClock final : public Clock {
 public:
  base::Date now() const override {
    using Seconds = std::chrono::duration<double>;
    return {Seconds(std::chrono::system_clock::now().time_since_epoch()).count()};
  }
  base::TimeZone systemTimeZone() const override { return base::TimeZone::UTC(); }
};

class SilentConsole final : public Console {
 public:
  void write(std::string_view) override {}
};

class DroppingQueue final : public Queue {
 public:
  void async(std::function<void()>) override {}
  bool isCurrent() const override { return false; }
};

/// Fails every task. Completions must run exactly once and never before the call returns, so a thread runs
/// them one after the other; it exits when none are left.
class FailingUrlSession final : public UrlSession {
 public:
  explicit FailingUrlSession(UrlSessionConfiguration configuration)
      : configuration_(std::move(configuration)), completions_(std::make_shared<Completions>()) {}

  void dataTaskWithRequest(UrlRequest request, UrlTaskCompletion completion) override {
    if (!completion) return;
    UrlTaskResult result;
    result.error = request.URL() ? base::Error{std::string(base::kUrlErrorDomain),
                                               kUrlErrorResourceUnavailable, "No platform is installed."}
                                 : base::Error{std::string(base::kUrlErrorDomain), kUrlErrorUnsupportedUrl,
                                               "unsupported URL"};
    Completions::add(completions_, [completion = std::move(completion),
                                    result = std::move(result)]() mutable { completion(std::move(result)); });
  }
  const UrlSessionConfiguration& configuration() const override { return configuration_; }

 private:
  struct Completions {
    base::Mutex mutex;
    std::deque<std::function<void()>> waiting TIDEWELL_GUARDED_BY(mutex);
    bool threadRuns TIDEWELL_GUARDED_BY(mutex) = false;

    static void add(const std::shared_ptr<Completions>& self, std::function<void()> function) {
      // A plug-in may be closed while its thread runs.
      base::keepLoaded(reinterpret_cast<const void*>(&emptyPlatform));
      const base::MutexLock lock(self->mutex);
      self->waiting.push_back(std::move(function));
      if (self->threadRuns) return;
      const base::AllSignalsBlocked blocked;
      try {
        std::thread([self] { self->drain(); }).detach();
        self->threadRuns = true;
      } catch (const std::exception&) {
        // No thread, or no memory for one: the accepted completions run with those of the next task.
      }
    }

    void drain() {
      for (;;) {
        std::function<void()> next;
        {
          const base::MutexLock lock(mutex);
          if (waiting.empty()) {
            threadRuns = false;
            return;
          }
          next = std::move(waiting.front());
          waiting.pop_front();
        }
        runReportingExceptions(next);
      }
    }
  };

  UrlSessionConfiguration configuration_;
  std::shared_ptr<Completions> completions_;
};

class EmptyPlatform final : public Platform {
 public:
  UserDefaults& standardUserDefaults() override { return defaults_; }
  std::shared_ptr<UserDefaults> userDefaultsWithSuiteName(std::string_view) override { return nullptr; }
  FileManager& fileManager() override { return files_; }
  Keychain& keychain() override { return keychain_; }
  Device& device() override { return device_; }
  Bundles& bundles() override { return bundles_; }
  Clock& clock() override { return clock_; }
  Console& console() override { return console_; }
  Queue& mainQueue() override { return queue_; }
  Queue& globalQueue() override { return queue_; }
  std::shared_ptr<UrlSession> makeUrlSession(UrlSessionConfiguration configuration) override {
    return std::make_shared<FailingUrlSession>(std::move(configuration));
  }
  UrlSession& sharedUrlSession() override { return sharedSession_; }

 private:
  NoUserDefaults defaults_;
  NoFiles files_;
  NoKeychain keychain_;
  UnknownDevice device_;
  NoBundles bundles_;
  RealClock clock_;
  SilentConsole console_;
  DroppingQueue queue_;
  FailingUrlSession sharedSession_{UrlSessionConfiguration{}};
};

}  // namespace

Platform& emptyPlatform() {
  static base::NeverDestroyed<EmptyPlatform> instance;
  return *instance;
}

}  // namespace tidewell::platform

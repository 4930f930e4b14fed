// SPDX-License-Identifier: Apache-2.0
// A platform for a host that brings its own system: a game console with a folder for saved data, a frame loop
// and an HTTP client. Standard C++ only. The testing platform supplies the other parts.
#pragma once

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/testing/TestingPlatform.h"

namespace host {

namespace base = tidewell::base;
namespace fs = std::filesystem;
namespace platform = tidewell::platform;
namespace testing = tidewell::testing;

/// Files below one folder. Any thread.
class Files final : public platform::FileManager {
 public:
  explicit Files(fs::path folder) : folder_(std::move(folder)) {}

  std::optional<std::string> pathForDirectory(platform::SearchPathDirectory directory) override {
    const fs::path path =
        folder_ / (directory == platform::SearchPathDirectory::library ? "library" : "documents");
    std::error_code ignored;  // operations on the folder return the reason
    fs::create_directories(path, ignored);
    return path.string();
  }
  platform::FileExistence fileExistsAtPath(std::string_view path) override {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    return {fs::exists(status), fs::is_directory(status)};
  }
  std::error_code createDirectoryAtPath(std::string_view path) override {
    std::error_code error;
    if (fs::create_directory(path, error)) fs::permissions(path, fs::perms::owner_all, error);
    return error;
  }
  platform::FileContents contentsOfFile(std::string_view path) override {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);  // fails for everything but a regular file
    if (error) return {{}, error};
    if (size > kMaximumFileBytes) return {{}, std::make_error_code(std::errc::file_too_large)};
    std::string contents(static_cast<std::size_t>(size), '\0');
    std::ifstream file(fs::path(path), std::ios::binary);
    if (!file.read(contents.data(), static_cast<std::streamsize>(size)))
      return {{}, std::make_error_code(std::errc::io_error)};
    return {std::move(contents), {}};
  }
  /// Readers find the old or the new contents. To survive a power loss, a product also flushes the new file
  /// to the disk, for which standard C++ has no function.
  std::error_code replaceFile(std::string_view path, std::string_view contents) override {
    const std::scoped_lock lock(mutex_);
    const fs::path written = std::string(path) + ".new";
    std::ofstream file(written, std::ios::binary | std::ios::trunc);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    file.close();
    if (!file) return std::make_error_code(std::errc::io_error);
    std::error_code error;
    fs::permissions(written, fs::perms::owner_read | fs::perms::owner_write, error);
    if (!error) fs::rename(written, path, error);
    return error;
  }
  std::error_code moveItem(std::string_view fromPath, std::string_view toPath) override {
    std::error_code error;
    fs::rename(fromPath, toPath, error);
    return error;
  }
  std::error_code removeItem(std::string_view path) override {
    if (fileExistsAtPath(path).isDirectory) return std::make_error_code(std::errc::is_a_directory);
    std::error_code error;
    const bool removed = fs::remove(path, error);
    return removed || error ? error : std::make_error_code(std::errc::no_such_file_or_directory);
  }
  platform::DirectoryContents contentsOfDirectory(std::string_view path) override {
    platform::DirectoryContents result;
    fs::directory_iterator entry(path, result.error);
    for (; !result.error && entry != fs::directory_iterator(); entry.increment(result.error))
      result.names.push_back(entry->path().filename().string());
    return result;
  }
  /// The console runs one process of a game, so there is none to keep out.
  platform::LockResult lockForPath(std::string_view) override {
    return {std::make_unique<platform::FileLock>(), {}};
  }

 private:
  const fs::path folder_;
  std::mutex mutex_;  ///< one writer at a time, since all use the same temporary name
};

/// Values in a property list. Any thread; readers never wait for a file.
class Defaults final : public platform::UserDefaults {
 public:
  Defaults(platform::FileManager& files, std::string path) : files_(files), path_(std::move(path)) {
    const platform::FileContents file = files_.contentsOfFile(path_);
    isUnreadable_ = file.error && file.error != std::errc::no_such_file_or_directory;
    const base::Value read = base::propertyListWithData(file.contents);
    if (read.dictionary() != nullptr) values_ = *read.dictionary();
  }
  base::Value objectForKey(std::string_view key) override {
    const std::scoped_lock lock(valuesMutex_);
    return values_.objectForKey(key);
  }
  void setObject(base::Value object, std::string_view forKey) override {
    if (!object) return removeObjectForKey(forKey);
    // Raises for a value that a property list cannot hold.
    static_cast<void>(base::dataWithPropertyList(object, base::PropertyListFormat::binary));
    const std::scoped_lock lock(valuesMutex_);
    values_.setObject(std::move(object), forKey);
  }
  void removeObjectForKey(std::string_view key) override {
    const std::scoped_lock lock(valuesMutex_);
    values_.removeObjectForKey(key);
  }
  bool synchronize() override {
    const std::error_code error = write();
    if (error) platform::report("Saved values could not be written: " + error.message());
    return !error;
  }

 private:
  std::error_code write() {
    if (isUnreadable_) return std::make_error_code(std::errc::io_error);  // a file not read is not replaced
    const std::scoped_lock fileLock(fileMutex_);
    const base::Value values = [this] {
      const std::scoped_lock lock(valuesMutex_);
      return base::Value(values_);
    }();
    return files_.replaceFile(path_, base::dataWithPropertyList(values, base::PropertyListFormat::binary));
  }

  platform::FileManager& files_;
  const std::string path_;
  bool isUnreadable_ = false;
  std::mutex fileMutex_;  ///< acquired before `valuesMutex_`
  std::mutex valuesMutex_;
  base::Dictionary values_;
};

/// Keychain items in a file of their own, which outlives the library folder. Any thread. A product would use
/// the system's store for secrets.
class Keychain final : public platform::Keychain {
 public:
  Keychain(platform::FileManager& files, std::string path) : items_(files, std::move(path)) {}

  std::int32_t itemAdd(const base::Dictionary& attributes) override {
    const base::Value data = attributes.objectForKey(platform::kSecValueData);
    if (data.data() == nullptr) return platform::errSecParam;
    const std::scoped_lock lock(mutex_);
    if (items_.objectForKey(nameOf(attributes))) return platform::errSecDuplicateItem;
    return store(data, attributes);
  }
  std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) override {
    const base::Value data = items_.objectForKey(nameOf(query));
    if (data.data() == nullptr) return platform::errSecItemNotFound;
    result = *data.data();
    return platform::errSecSuccess;
  }
  std::int32_t itemDelete(const base::Dictionary& query) override {
    const std::scoped_lock lock(mutex_);
    if (!items_.objectForKey(nameOf(query))) return platform::errSecItemNotFound;
    return store({}, query);
  }

 private:
  static std::string nameOf(const base::Dictionary& item) {
    return item.objectForKey(platform::kSecAttrService).optionalString().value_or("") + '\n' +
           item.objectForKey(platform::kSecAttrAccount).optionalString().value_or("");
  }
  std::int32_t store(const base::Value& data, const base::Dictionary& item) {
    const std::string name = nameOf(item);
    const base::Value before = items_.objectForKey(name);
    items_.setObject(data, name);
    if (items_.synchronize()) return platform::errSecSuccess;
    items_.setObject(before, name);  // a failed operation changes nothing
    return platform::errSecIO;
  }
  Defaults items_;
  std::mutex mutex_;  ///< held from the check for an item until the change is written
};

class Clock final : public platform::Clock {
 public:
  base::Date now() const override {
    return {std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count()};
  }
  base::TimeZone systemTimeZone() const override { return base::TimeZone::UTC(); }
};

class Console final : public platform::Console {
 public:
  void write(std::string_view text) override {
    std::fprintf(stderr, "game: %.*s\n", static_cast<int>(text.size()), text.data());
  }
};

/// The parts above; network, queues, device and bundles are the testing platform's. Any thread.
class HostPlatform final : public platform::ForwardingPlatform {
 public:
  explicit HostPlatform(const fs::path& folder)
      : HostPlatform(folder, std::make_shared<testing::TestingPlatform>()) {}

  platform::FileManager& fileManager() override { return files_; }
  platform::UserDefaults& standardUserDefaults() override { return defaults_; }
  /// The game has no extensions to share values with.
  std::shared_ptr<platform::UserDefaults> userDefaultsWithSuiteName(std::string_view) override {
    return nullptr;
  }
  platform::Keychain& keychain() override { return keychain_; }
  platform::Clock& clock() override { return clock_; }
  platform::Console& console() override { return console_; }

  /// `fetch` is the game's HTTP client; it is called in `runFrame`.
  void setHttpClient(testing::ScriptedNetwork::Handler fetch) {
    parts_->testNetwork().setHandler(std::move(fetch));
  }
  /// A UUID of the console's vendor; before the SDK starts.
  void setVendorIdentifier(std::string identifier) {
    parts_->testDevice().identifierForVendorValue = std::move(identifier);
  }
  /// The game calls this once per frame, always on the same thread.
  void runFrame() { parts_->runUntilIdle(); }

 private:
  HostPlatform(const fs::path& folder, std::shared_ptr<testing::TestingPlatform> parts)
      : ForwardingPlatform(parts),
        parts_(std::move(parts)),
        files_(folder / "game"),
        defaults_(files_, (folder / "game/defaults.plist").string()),
        keychain_(files_, (folder / "keychain.plist").string()) {
    std::error_code ignored;  // operations on the folder return the reason
    fs::create_directories(folder / "game", ignored);
    parts_->testDevice().modelValue = "Console 3";
    parts_->testDevice().systemVersionValue = "3.11";
    parts_->testBundles().setMainInfoDictionary(
        {{platform::kBundleIdentifierKey, "org.example.game"}, {platform::kBundleShortVersionKey, "1.4"}});
  }

  const std::shared_ptr<testing::TestingPlatform> parts_;
  Files files_;
  Defaults defaults_;
  Keychain keychain_;
  Clock clock_;
  Console console_;
};

}  // namespace host

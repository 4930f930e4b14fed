// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/MemoryFileManager.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <map>
#include <thread>
#include <utility>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {
namespace {

/// Set while a hook runs on this thread, because its calls simulate another process.
thread_local bool hookIsRunning = false;

/// The path without doubled and trailing separators.
std::string tidy(std::string_view path) {
  std::string result;
  for (const char c : path) {
    if (c != '/' || result.empty() || result.back() != '/') result += c;
  }
  if (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

/// The folder that contains a normalised path; "" for a relative path.
std::string parentOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return {};
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::error_code error(std::errc code) { return std::make_error_code(code); }

}  // namespace

struct MemoryFileManager::State {
  /// Calls `firstFailing` to `lastFailing` of an operation fail; `calls` counts them.
  struct Operation {
    std::size_t calls = 0;
    std::size_t firstFailing = 0;
    std::size_t lastFailing = 0;
    std::error_code error;
  };
  /// The contents of a file; no value for a folder.
  using Node = std::optional<std::string>;

  mutable base::Mutex mutex;
  std::map<std::string, Node> nodes TIDEWELL_GUARDED_BY(mutex){{"/", std::nullopt}};
  std::optional<std::string> libraryPath TIDEWELL_GUARDED_BY(mutex);
  std::optional<std::string> documentsPath TIDEWELL_GUARDED_BY(mutex);
  std::array<Operation, 8> operations TIDEWELL_GUARDED_BY(mutex);
  std::function<void(FileOperation, const std::string&)> hook TIDEWELL_GUARDED_BY(mutex);
  std::map<std::string, std::thread::id> locks TIDEWELL_GUARDED_BY(mutex);
  /// The path whose lock timed out; no call waits until it is free.
  std::string waitedInVainFor TIDEWELL_GUARDED_BY(mutex);
  std::condition_variable lockReleased;

  /// Counts a call, runs the hook, and returns the error with which the call must fail, if any.
  std::error_code begin(FileOperation operation, std::string_view path) {
    if (hookIsRunning) return {};
    std::error_code failure;
    std::function<void(FileOperation, const std::string&)> hookNow;
    {
      const base::MutexLock lock(mutex);
      Operation& record = operationFor(operation);
      ++record.calls;
      if (record.calls >= record.firstFailing && record.calls <= record.lastFailing) failure = record.error;
      hookNow = hook;
    }
    if (!hookNow) return failure;
    struct Running {
      Running() { hookIsRunning = true; }
      ~Running() { hookIsRunning = false; }
    } running;
    hookNow(operation, std::string(path));
    return failure;
  }

  Operation& operationFor(FileOperation operation) TIDEWELL_REQUIRES(mutex) {
    return operations[static_cast<std::size_t>(operation)];
  }

  // Paths are normalised from here on.

  [[nodiscard]] const Node* find(const std::string& path) const TIDEWELL_REQUIRES(mutex) {
    const auto found = nodes.find(path);
    return found == nodes.end() ? nullptr : &found->second;
  }

  /// The reason why a path cannot be created; no error if it can.
  [[nodiscard]] std::error_code obstacle(const std::string& path) const TIDEWELL_REQUIRES(mutex) {
    if (path.find('\0') != std::string::npos) return error(std::errc::invalid_argument);
    const Node* const parent = find(parentOf(path));
    if (!parent) return error(std::errc::no_such_file_or_directory);
    return *parent ? error(std::errc::not_a_directory) : std::error_code();
  }

  void makeFolders(const std::string& path) TIDEWELL_REQUIRES(mutex) {
    if (path.empty() || find(path)) return;
    makeFolders(parentOf(path));
    nodes.emplace(path, std::nullopt);
  }

  /// The nodes below a folder, which are contiguous.
  [[nodiscard]] auto below(const std::string& folder) TIDEWELL_REQUIRES(mutex) {
    const std::string stem = folder == "/" ? "" : folder;
    return std::pair(nodes.upper_bound(stem + "/"), nodes.lower_bound(stem + "0"));  // '0' follows '/'
  }

  void remove(const std::string& path) TIDEWELL_REQUIRES(mutex) {
    const auto [begin, end] = below(path);
    nodes.erase(begin, end);
    if (path != "/") nodes.erase(path);
  }

  void setStandardPath(std::optional<std::string>& place, std::optional<std::string> path)
      TIDEWELL_REQUIRES(mutex) {
    if (path) makeFolders(tidy(*path));
    place = std::move(path);
  }
};

namespace {

class MemoryFileLock final : public platform::FileLock {
 public:
  explicit MemoryFileLock(std::function<void()> release) : release_(std::move(release)) {}
  ~MemoryFileLock() override { release_(); }

 private:
  std::function<void()> release_;
};

}  // namespace

MemoryFileManager::MemoryFileManager() : state_(std::make_shared<State>()) {
  setLibraryPath("/app/Library");
  setDocumentsPath("/app/Documents");
}

MemoryFileManager::~MemoryFileManager() = default;

std::optional<std::string> MemoryFileManager::pathForDirectory(platform::SearchPathDirectory directory) {
  const base::MutexLock lock(state_->mutex);
  return directory == platform::SearchPathDirectory::library ? state_->libraryPath : state_->documentsPath;
}

platform::FileExistence MemoryFileManager::fileExistsAtPath(std::string_view path) {
  if (state_->begin(FileOperation::exists, path)) return {};
  const base::MutexLock lock(state_->mutex);
  const State::Node* const node = state_->find(tidy(path));
  return {node != nullptr, node && !*node};
}

std::error_code MemoryFileManager::createDirectoryAtPath(std::string_view path) {
  if (const auto failure = state_->begin(FileOperation::createDirectory, path)) return failure;
  const std::string place = tidy(path);
  const base::MutexLock lock(state_->mutex);
  if (state_->find(place)) return error(std::errc::file_exists);
  if (const auto obstacle = state_->obstacle(place)) return obstacle;
  state_->nodes.emplace(place, std::nullopt);
  return {};
}

platform::FileContents MemoryFileManager::contentsOfFile(std::string_view path) {
  if (const auto failure = state_->begin(FileOperation::read, path)) return {{}, failure};
  const base::MutexLock lock(state_->mutex);
  const State::Node* const node = state_->find(tidy(path));
  if (!node) return {{}, error(std::errc::no_such_file_or_directory)};
  if (!*node) return {{}, error(std::errc::is_a_directory)};
  if ((*node)->size() > kMaximumFileBytes) return {{}, error(std::errc::file_too_large)};
  return {**node, {}};
}

std::error_code MemoryFileManager::replaceFile(std::string_view path, std::string_view contents) {
  if (const auto failure = state_->begin(FileOperation::replace, path)) return failure;
  const std::string place = tidy(path);
  const base::MutexLock lock(state_->mutex);
  if (const auto obstacle = state_->obstacle(place)) return obstacle;
  if (const State::Node* const node = state_->find(place); node && !*node) {
    return error(std::errc::is_a_directory);
  }
  state_->nodes.insert_or_assign(place, std::string(contents));
  return {};
}

std::error_code MemoryFileManager::moveItem(std::string_view fromPath, std::string_view toPath) {
  if (const auto failure = state_->begin(FileOperation::move, fromPath)) return failure;
  const std::string from = tidy(fromPath);
  const std::string to = tidy(toPath);
  const base::MutexLock lock(state_->mutex);
  const State::Node* const source = state_->find(from);
  if (!source) return error(std::errc::no_such_file_or_directory);
  if (from == to) return {};
  if (const auto obstacle = state_->obstacle(to)) return obstacle;
  if (from == "/" || to.starts_with(from + "/")) return error(std::errc::invalid_argument);
  if (const State::Node* const target = state_->find(to); target && !*target) {
    return error(std::errc::is_a_directory);
  }
  if (!*source && state_->find(to)) return error(std::errc::not_a_directory);

  std::map<std::string, State::Node> moved;
  const auto [begin, end] = state_->below(from);
  for (auto each = begin; each != end; ++each) {
    moved.insert_or_assign(to + each->first.substr(from.size()), std::move(each->second));
  }
  state_->nodes.erase(begin, end);
  state_->nodes.erase(to);
  auto node = state_->nodes.extract(from);
  node.key() = to;
  state_->nodes.insert(std::move(node));
  state_->nodes.merge(moved);
  return {};
}

std::error_code MemoryFileManager::removeItem(std::string_view path) {
  if (const auto failure = state_->begin(FileOperation::remove, path)) return failure;
  const std::string place = tidy(path);
  const base::MutexLock lock(state_->mutex);
  const State::Node* const node = state_->find(place);
  if (!node) return error(std::errc::no_such_file_or_directory);
  if (!*node) return error(std::errc::is_a_directory);
  state_->nodes.erase(place);
  return {};
}

platform::DirectoryContents MemoryFileManager::contentsOfDirectory(std::string_view path) {
  if (const auto failure = state_->begin(FileOperation::list, path)) return {{}, failure};
  const std::string folder = tidy(path);
  const base::MutexLock lock(state_->mutex);
  const State::Node* const node = state_->find(folder);
  if (!node) return {{}, error(std::errc::no_such_file_or_directory)};
  if (*node) return {{}, error(std::errc::not_a_directory)};
  platform::DirectoryContents result;
  const auto [begin, end] = state_->below(folder);
  for (auto each = begin; each != end; ++each) {
    const std::string& place = each->first;
    if (parentOf(place) == folder) result.names.push_back(place.substr(place.rfind('/') + 1));
  }
  return result;
}

platform::LockResult MemoryFileManager::lockForPath(std::string_view path) {
  if (const auto failure = state_->begin(FileOperation::lock, path)) return {nullptr, failure};
  const std::string place = tidy(path);
  const auto self = std::this_thread::get_id();
  base::ReleasableMutexLock lock(state_->mutex);
  if (const auto obstacle = state_->obstacle(place)) return {nullptr, obstacle};
  const auto isFree = [&]() TIDEWELL_REQUIRES(state_->mutex) { return !state_->locks.contains(place); };
  const auto heldByAnother = [] { return platform::LockResult{nullptr, error(std::errc::timed_out)}; };
  if (!state_->locks.contains(state_->waitedInVainFor)) state_->waitedInVainFor.clear();
  if (!isFree()) {
    // A lock held by this thread cannot be released while it waits.
    if (state_->locks[place] == self || !state_->waitedInVainFor.empty()) return heldByAnother();
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(kMaximumLockWaitSeconds);
    if (!lock.waitUntil(state_->lockReleased, end, isFree)) {
      state_->waitedInVainFor = place;
      return heldByAnother();
    }
  }
  state_->locks.emplace(place, self);
  auto made = std::make_unique<MemoryFileLock>([state = state_, place] {
    const base::MutexLock releasing(state->mutex);
    state->locks.erase(place);
    state->lockReleased.notify_all();
  });
  return {std::move(made), {}};
}

void MemoryFileManager::setLibraryPath(std::optional<std::string> path) {
  const base::MutexLock lock(state_->mutex);
  state_->setStandardPath(state_->libraryPath, std::move(path));
}

void MemoryFileManager::setDocumentsPath(std::optional<std::string> path) {
  const base::MutexLock lock(state_->mutex);
  state_->setStandardPath(state_->documentsPath, std::move(path));
}

std::optional<std::string> MemoryFileManager::contents(std::string_view path) const {
  const base::MutexLock lock(state_->mutex);
  const State::Node* const node = state_->find(tidy(path));
  return node ? *node : std::nullopt;
}

void MemoryFileManager::setContents(std::string_view path, std::string contents) {
  const std::string place = tidy(path);
  const base::MutexLock lock(state_->mutex);
  state_->remove(place);
  state_->makeFolders(parentOf(place));
  state_->nodes.insert_or_assign(place, std::move(contents));
}

void MemoryFileManager::removeTree(std::string_view path) {
  const base::MutexLock lock(state_->mutex);
  state_->remove(tidy(path));
}

std::size_t MemoryFileManager::count(FileOperation operation) const {
  const base::MutexLock lock(state_->mutex);
  return state_->operationFor(operation).calls;
}

void MemoryFileManager::failCall(FileOperation operation, std::size_t n, std::error_code error,
                                 std::size_t times) {
  const base::MutexLock lock(state_->mutex);
  State::Operation& record = state_->operationFor(operation);
  record.firstFailing = record.calls + n;
  record.lastFailing = times == 0 ? 0 : record.firstFailing + (times - 1);
  record.error = error;
}

void MemoryFileManager::setHook(std::function<void(FileOperation, const std::string& path)> hook) {
  const base::MutexLock lock(state_->mutex);
  state_->hook.swap(hook);  // the old one is destroyed after unlocking
}

}  // namespace tidewell::testing

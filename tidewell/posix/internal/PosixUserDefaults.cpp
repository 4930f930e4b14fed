// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixUserDefaults.h"

#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/platform/internal/PendingChanges.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/FileFault.h"
#include "tidewell/posix/internal/FileLock.h"
#include "tidewell/posix/internal/Fork.h"
#include "tidewell/posix/internal/PosixFileManager.h"
#include "tidewell/posix/internal/PropertyListFile.h"

namespace tidewell::posix {
namespace {

using Kind = base::ValueKind;

/// A change that is not on disk yet; nil for a removal. The number distinguishes later changes of the same
/// key.
struct Change {
  base::Value object;
  std::uint64_t number = 0;
};
using Changes = std::map<std::string, Change, std::less<>>;

/// Leaves room for the levels of the file's own dictionary and those added by readers.
constexpr int kMaximumDepth = base::kMaximumPropertyListDepth - 4;

bool isPropertyList(const base::Value& value, int depth) {
  if (depth > kMaximumDepth) return false;
  switch (value.kind()) {
    case Kind::boolean:
    case Kind::integer:
    case Kind::unsignedInteger:
    case Kind::real:
    case Kind::string:
    case Kind::data:
    case Kind::date:
      return true;
    case Kind::array:
      for (const base::Value& each : *value.array()) {
        if (!isPropertyList(each, depth + 1)) return false;
      }
      return true;
    case Kind::dictionary:
      for (const base::Dictionary::Entry& each : *value.dictionary()) {
        if (!isPropertyList(each.value, depth + 1)) return false;
      }
      return true;
    default:
      return false;
  }
}

/// The keys of a file with pending changes: the values that were set, and the keys that were removed.
constexpr std::string_view kSet = "set";
constexpr std::string_view kRemoved = "removed";

std::string dataWithChanges(const Changes& changes) {
  base::Dictionary set;
  base::Array removed;
  for (const auto& [key, change] : changes) {
    if (change.object.isNil()) {
      removed.addObject(key);
    } else {
      set.setObject(change.object, key);
    }
  }
  return base::dataWithPropertyList(base::Dictionary{{kSet, set}, {kRemoved, removed}},
                                    base::PropertyListFormat::binary);
}

/// No value if the bytes are not such changes.
std::optional<Changes> changesWithData(const std::string& data) {
  const base::Value root = base::propertyListWithData(data);
  if (!root.dictionary()) return std::nullopt;
  const base::Value set = root.dictionary()->objectForKey(kSet);
  const base::Value removed = root.dictionary()->objectForKey(kRemoved);
  if (!set.dictionary() || !removed.array()) return std::nullopt;
  Changes changes;
  for (const base::Dictionary::Entry& each : *set.dictionary()) changes[each.key] = {each.value, 0};
  for (const base::Value& each : *removed.array()) {
    if (const auto key = each.optionalString()) changes[*key] = {};
  }
  return changes;
}

/// Whether two values are stored identically; object equality treats `true` and 1 as equal.
bool areStoredAlike(const base::Value& a, const base::Value& b) {
  if (a.kind() != b.kind()) return false;
  if (a.kind() != Kind::array && a.kind() != Kind::dictionary) return a == b;
  return base::dataWithPropertyList(a, base::PropertyListFormat::binary) ==
         base::dataWithPropertyList(b, base::PropertyListFormat::binary);
}

/// Applies changes; returns whether the dictionary changed.
bool apply(const Changes& changes, base::Dictionary& dictionary) {
  bool changed = false;
  for (const auto& [key, change] : changes) {
    const base::Value* const stored = dictionary.find(key);
    if (change.object.isNil()) {
      if (!stored) continue;
      dictionary.removeObjectForKey(key);
    } else {
      if (stored && areStoredAlike(*stored, change.object)) continue;
      dictionary.setObject(change.object, key);
    }
    changed = true;
  }
  return changed;
}

}  // namespace

struct PosixUserDefaults::State {
  /// Whether this process holds the file's lock.
  enum class FileState { unlocked, locked };
  /// Whether changes are on disk, and a message to report.
  struct Outcome {
    bool isOnDisk = false;
    std::string sentence;
  };

  State(Container container_, std::string path_) : container(std::move(container_)), path(std::move(path_)) {}

  const Container container;
  const std::string path;
  const std::string folder = folderOf(path);
  PosixFileManager files{container};
  platform::PendingChanges pending{files, path};

  /// Held while the file is read or written.
  WorkMutex file;

  StateMutex mutex;
  base::Dictionary stored TIDEWELL_GUARDED_BY(mutex);
  FileStamp stamp TIDEWELL_GUARDED_BY(mutex);  ///< when `stored` was read
  /// Changes in files beside the domain's, to be merged by the next process that acquires the lock.
  Changes waiting TIDEWELL_GUARDED_BY(mutex);
  std::size_t waitingFiles TIDEWELL_GUARDED_BY(mutex) = 0;
  FileStamp waitingStamp TIDEWELL_GUARDED_BY(mutex);  ///< of the folder, when `waiting` was read
  bool isLoaded TIDEWELL_GUARDED_BY(mutex) = false;
  Changes changes TIDEWELL_GUARDED_BY(mutex);
  std::uint64_t changeCount TIDEWELL_GUARDED_BY(mutex) = 0;
  std::string lastReadFailure TIDEWELL_GUARDED_BY(mutex);
  std::string lastWriteFailure TIDEWELL_GUARDED_BY(mutex);

  void change(std::string_view key, base::Value object) {
    const base::MutexLock lock(mutex);
    changes.insert_or_assign(std::string(key), Change{std::move(object), ++changeCount});
  }

  /// Whether the file and its folder are unchanged since the last read. Two system calls, if there was one.
  [[nodiscard]] bool isFresh() {
    if (!hasLoaded()) return false;
    const FileStamp now = FileStamp::of(path);
    const FileStamp folderNow = FileStamp::of(folder);
    const base::MutexLock lock(mutex);
    return stamp.isSameAs(now) && waitingStamp.isSameAs(folderNow);
  }

  /// Loads the file and the pending changes beside it. Call with `file` held. On error nothing changes, and
  /// the file must not be overwritten.
  std::error_code load(FileState state, std::vector<std::string>& reports) {
    if (const auto failure = container.checkFolders(path)) return failure;
    if (const auto failure = loadWaiting()) return failure;
    const FileStamp now = FileStamp::of(path);
    PropertyListFile read = PropertyListFile::read(path, FileOwner::user);
    if (read.error) return read.error;
    if (read.isCorrupt && state == FileState::unlocked) {
      const platform::LockResult lock = lockFile(path);
      if (lock.error && !cannotBeLocked(lock.error)) return lock.error;
      return load(FileState::locked, reports);
    }
    {
      const base::MutexLock lock(mutex);
      std::swap(stored, read.contents);
      stamp = now;
      isLoaded = true;
    }
    if (!read.isCorrupt) return {};
    if (const auto failure = keepAside(path)) return failure;
    reports.push_back(path + " cannot be understood; it counts as missing and is kept as " + path +
                      ".corrupt");
    return {};
  }

  /// Loads the pending changes, oldest first.
  std::error_code loadWaiting() {
    const FileStamp now = FileStamp::of(folder);
    std::error_code failure;
    const std::vector<platform::PendingChanges::Change> found = pending.read(&failure);
    if (failure) return failure;
    Changes all;
    for (const auto& each : found) {
      const auto kept = changesWithData(each.contents);
      if (!kept) continue;
      for (const auto& [key, change] : *kept) all.insert_or_assign(key, change);
    }
    const base::MutexLock lock(mutex);
    waiting = std::move(all);
    waitingFiles = found.size();
    waitingStamp = now;
    return {};
  }

  /// Stores changes beside the file while another process holds its lock. Call with `file` held.
  std::error_code keepBeside(const Changes& toKeep) {
    {
      // No more than this many are read at once; changes that nobody would read stay in memory.
      const base::MutexLock lock(mutex);
      if (waitingFiles >= platform::PendingChanges::kMaximumRead) return FileFault::lockHeldByAnother;
    }
    if (const auto failure = pending.keep(dataWithChanges(toKeep))) return failure;
    const base::MutexLock lock(mutex);
    for (const auto& [key, change] : toKeep) waiting.insert_or_assign(key, change);
    ++waitingFiles;
    waitingStamp = {};
    forget(toKeep);
    return {};
  }

  /// Drops the changes that have reached the disk, unless they were changed again.
  void forget(const Changes& written) TIDEWELL_REQUIRES(mutex) {
    for (const auto& [key, change] : written) {
      const auto found = changes.find(key);
      if (found != changes.end() && found->second.number == change.number) changes.erase(found);
    }
  }

  /// Reloads the file if another process has written it. Does not wait for a thread that is about to write:
  /// its changes are in memory already.
  void refresh() {
    if (path.empty() || isFresh()) return;
    std::vector<std::string> reports;
    {
      std::unique_lock working(file, std::defer_lock);
      if (hasLoaded()) {
        if (!working.try_lock()) return;
      } else {
        working.lock();
        if (isFresh()) return;
      }
      const auto failure = load(FileState::unlocked, reports);
      noteOutcome(&State::lastReadFailure, failure ? sentence("read", failure.message()) : "", reports);
    }
    for (const std::string& each : reports) platform::report(each);
  }

  [[nodiscard]] bool hasLoaded() {
    const base::MutexLock lock(mutex);
    return isLoaded;
  }

  [[nodiscard]] std::string sentence(const char* operation, const std::string& reason) const {
    return "The user defaults " + (path.empty() ? "(no home directory)" : path) + " cannot be " + operation +
           ": " + reason;
  }

  /// Reports a repeated failure only once; otherwise every read and every request would report it.
  void noteOutcome(std::string State::*last, std::string failure, std::vector<std::string>& reports) {
    const base::MutexLock lock(mutex);
    if (!failure.empty() && failure != this->*last) reports.push_back(failure);
    this->*last = std::move(failure);
  }

  [[nodiscard]] Changes unwritten() {
    const base::MutexLock lock(mutex);
    return changes;
  }

  /// Writes changes to the file, after those that are pending. Call with `file` held.
  std::error_code write(const Changes& toWrite, std::vector<std::string>& reports) {
    if (path.empty()) return std::make_error_code(std::errc::no_such_file_or_directory);
    if (const auto failure = container.makeFolder(folder)) return failure;
    const platform::LockResult lock = lockFile(path);
    // Proceeds on a file system without locks rather than lose everything.
    if (lock.error && !cannotBeLocked(lock.error)) return lock.error;
    if (std::string notice = noticeOfMissingLock(path, lock.error); !notice.empty()) {
      reports.push_back(std::move(notice));
    }
    if (const auto failure = load(FileState::locked, reports)) return failure;
    base::Dictionary merged = copyOfStored();
    std::error_code failure;
    std::vector<platform::PendingChanges::Change> found = pending.read(&failure);
    if (failure) return failure;
    bool differs = false;
    std::erase_if(found, [&](const platform::PendingChanges::Change& each) {
      const auto earlier = changesWithData(each.contents);
      if (earlier) differs |= apply(*earlier, merged);
      return !earlier;
    });
    differs |= apply(toWrite, merged);
    if (differs) failure = writePropertyListFile(path, merged);
    if (failure) return failure;
    pending.remove(found);
    const FileStamp now = FileStamp::of(path);
    const base::MutexLock guard(mutex);
    stored = std::move(merged);
    stamp = now;
    if (!found.empty()) {
      waiting.clear();
      waitingFiles = 0;  // the next read counts those left
    }
    waitingStamp = {};
    forget(toWrite);
    return {};
  }

  /// Writes the current changes, with `file` held; another thread may just have done so. The outcome's
  /// sentence is "" if everything is in the file.
  Outcome writeChanges(std::vector<std::string>& reports) {
    try {
      const Changes toWrite = unwritten();
      auto error = toWrite.empty() ? std::error_code() : write(toWrite, reports);
      if (error == FileFault::lockHeldByAnother && !(error = keepBeside(toWrite))) {
        return {true, "Another process holds the lock of the user defaults " + path +
                          ": changes are kept in files beside it"};
      }
      return {!error, error ? sentence("written", error.message()) : ""};
    } catch (const std::exception&) {
      return {false, sentence("written", base::currentExceptionDescription())};
    }
  }

  [[nodiscard]] base::Dictionary copyOfStored() {
    const base::MutexLock lock(mutex);
    return stored;
  }
};

PosixUserDefaults::PosixUserDefaults(Container container, std::string path)
    : state_(std::make_unique<State>(std::move(container), std::move(path))) {}
PosixUserDefaults::~PosixUserDefaults() = default;

base::Value PosixUserDefaults::objectForKey(std::string_view key) {
  state_->refresh();
  const base::MutexLock lock(state_->mutex);
  for (const Changes* later : {&state_->changes, &state_->waiting}) {
    if (const auto change = later->find(key); change != later->end()) return change->second.object;
  }
  return state_->stored.objectForKey(key);
}

void PosixUserDefaults::setObject(base::Value object, std::string_view forKey) {
  // Rejected here, where the caller gets the error, rather than in a later write of all changes.
  if (object && !isPropertyList(object, 1)) {
    base::raise(base::kInvalidArgumentException, "Attempt to insert non-property list object " +
                                                     object.description() + " for key " +
                                                     std::string(forKey));
  }
  state_->change(forKey, std::move(object));
}

void PosixUserDefaults::removeObjectForKey(std::string_view key) { state_->change(key, {}); }

bool PosixUserDefaults::synchronize() {
  if (state_->unwritten().empty()) {
    state_->refresh();
    return true;
  }
  std::vector<std::string> reports;
  bool isOnDisk = false;
  {
    const base::MutexLock working(state_->file);
    State::Outcome outcome = state_->writeChanges(reports);
    isOnDisk = outcome.isOnDisk;
    state_->noteOutcome(&State::lastWriteFailure, std::move(outcome.sentence), reports);
  }
  for (const std::string& each : reports) platform::report(each);
  return isOnDisk;
}

}  // namespace tidewell::posix

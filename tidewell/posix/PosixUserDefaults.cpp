#include "tidewell/posix/PosixUserDefaults.h"

#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/PropertyList.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/posix/AtomicFile.h"
#include "tidewell/posix/FileLock.h"
#include "tidewell/posix/Fork.h"
#include "tidewell/posix/PropertyListFile.h"

namespace tidewell::posix {
namespace {

using Kind = base::ValueKind;

/// A change that is not on the disk yet; nil for a removal. The number tells a later change of the same key.
struct Change {
  base::Value object;
  std::uint64_t number = 0;
};
using Changes = std::map<std::string, Change, std::less<>>;

/// The file's dictionary is one level, and room is left for what a reader counts.
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

/// Whether two values are stored alike: equality of objects takes a boolean for the number 1.
bool areStoredAlike(const base::Value& a, const base::Value& b) {
  if (a.kind() != b.kind()) return false;
  if (a.kind() != Kind::array && a.kind() != Kind::dictionary) return a == b;
  return base::dataWithPropertyList(a, base::PropertyListFormat::binary) ==
         base::dataWithPropertyList(b, base::PropertyListFormat::binary);
}

/// Whether the disk has to change.
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
  State(Container container_, std::string path_) : container(std::move(container_)), path(std::move(path_)) {}

  const Container container;
  const std::string path;

  /// Held over reads and writes of the file.
  WorkMutex file;

  StateMutex mutex;  ///< guards all below
  base::Dictionary stored;
  FileStamp stamp;  ///< of `stored`
  bool isLoaded = false;
  Changes changes;
  std::uint64_t changeCount = 0;
  std::string lastReadFailure;
  std::string lastWriteFailure;

  void change(std::string_view key, base::Value object) {
    const std::lock_guard lock(mutex);
    changes.insert_or_assign(std::string(key), Change{std::move(object), ++changeCount});
  }

  [[nodiscard]] bool isFresh(const FileStamp& now) {
    const std::lock_guard lock(mutex);
    return stamp.isSameAs(now);
  }

  /// Takes over what the file holds. With `file` held. The error where it cannot be read: all stays as it
  /// was, and the file must not be overwritten.
  std::error_code load(bool isLocked, std::vector<std::string>& reports) {
    const FileStamp now = FileStamp::of(path);
    PropertyListFile read = PropertyListFile::read(path);
    if (read.error) return read.error;
    if (read.isCorrupt && !isLocked) {
      const platform::LockResult lock = lockFile(path);
      return !lock.error || hasNoLocks(lock.error) ? load(true, reports) : lock.error;
    }
    {
      const std::lock_guard lock(mutex);
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

  /// Looks whether another process wrote the file. A reader does not wait for a thread that is about to write
  /// it: what that one changed is in memory already.
  void refresh() {
    if (path.empty() || isFresh(FileStamp::of(path))) return;
    std::vector<std::string> reports;
    {
      std::unique_lock working(file, std::defer_lock);
      if (hasLoaded()) {
        if (!working.try_lock()) return;
      } else {
        working.lock();
        if (isFresh(FileStamp::of(path))) return;
      }
      const auto failure = load(false, reports);
      noteOutcome(lastReadFailure, failure ? sentence("read", failure.message()) : "", reports);
    }
    for (const std::string& each : reports) platform::report(each);
  }

  [[nodiscard]] bool hasLoaded() {
    const std::lock_guard lock(mutex);
    return isLoaded;
  }

  [[nodiscard]] std::string sentence(const char* operation, const std::string& reason) const {
    return "The user defaults " + (path.empty() ? "(no home directory)" : path) + " cannot be " + operation +
           ": " + reason;
  }

  /// A failure that repeats is reported once: each read and each request would say it again.
  void noteOutcome(std::string& last, std::string failure, std::vector<std::string>& reports) {
    const std::lock_guard lock(mutex);
    if (!failure.empty() && failure != last) reports.push_back(failure);
    last = std::move(failure);
  }

  [[nodiscard]] Changes unwritten() {
    const std::lock_guard lock(mutex);
    return changes;
  }

  /// Brings changes to the disk. With `file` held.
  std::error_code write(const Changes& toWrite, std::vector<std::string>& reports) {
    if (path.empty()) return std::make_error_code(std::errc::no_such_file_or_directory);
    if (const auto failure = container.makeFolder(folderOf(path))) return failure;
    const platform::LockResult lock = lockFile(path);
    // A file system without locks is no reason to lose everything; a lock that another process holds is one
    // to try again later.
    if (lock.error && !hasNoLocks(lock.error)) return lock.error;
    if (const auto failure = load(true, reports)) return failure;
    base::Dictionary merged = copyOfStored();
    if (apply(toWrite, merged)) {
      if (const auto failure = writePropertyListFile(path, merged)) return failure;
    }
    const FileStamp now = FileStamp::of(path);
    const std::lock_guard guard(mutex);
    stored = std::move(merged);
    stamp = now;
    for (const auto& [key, change] : toWrite) {
      const auto found = changes.find(key);
      if (found != changes.end() && found->second.number == change.number) changes.erase(found);
    }
    return {};
  }

  /// Brings what is changed now to the disk, with `file` held: another thread may just have written it. Why
  /// it did not get there; "" where it did.
  std::string writeChanges(std::vector<std::string>& reports) {
    try {
      const Changes toWrite = unwritten();
      const auto error = toWrite.empty() ? std::error_code() : write(toWrite, reports);
      return error ? sentence("written", error.message()) : "";
    } catch (const std::exception&) {
      return sentence("written", base::currentExceptionDescription());
    }
  }

  [[nodiscard]] base::Dictionary copyOfStored() {
    const std::lock_guard lock(mutex);
    return stored;
  }
};

PosixUserDefaults::PosixUserDefaults(Container container, std::string path)
    : state_(std::make_unique<State>(std::move(container), std::move(path))) {}
PosixUserDefaults::~PosixUserDefaults() = default;

base::Value PosixUserDefaults::objectForKey(std::string_view key) {
  state_->refresh();
  const std::lock_guard lock(state_->mutex);
  const auto change = state_->changes.find(key);
  return change != state_->changes.end() ? change->second.object : state_->stored.objectForKey(key);
}

void PosixUserDefaults::setObject(base::Value object, std::string_view forKey) {
  // Refused here, where the caller can hear of it, and not when it is written with everything else.
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
  std::string failure;
  {
    const std::lock_guard working(state_->file);
    failure = state_->writeChanges(reports);
    state_->noteOutcome(state_->lastWriteFailure, failure, reports);
  }
  for (const std::string& each : reports) platform::report(each);
  return failure.empty();
}

}  // namespace tidewell::posix

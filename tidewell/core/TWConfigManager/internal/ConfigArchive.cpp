// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/ConfigArchive.h"

#include <algorithm>
#include <memory>
#include <system_error>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/core/TWConfigManager/internal/ConfigBounds.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

/// How many times a holder of the lock checks for changes that arrived while it wrote.
constexpr int kMaximumRounds = 4;
/// How many times a start reads again because another process has merged changes meanwhile.
constexpr int kMaximumReads = 3;

using platform::PendingChanges;

platform::FileManager& files() { return platform::Platform::current().fileManager(); }
std::string corruptPath(const std::string& path) { return path + ".corrupt"; }
std::string unreadablePath(const std::string& path) { return path + ".unreadable"; }

/// Combines a record with one that was unreadable when needed: keeps the latter's opt-outs, which must not be
/// lost, and its region unless one was chosen since.
TWConfigFields withRecovered(TWConfigFields fields, const TWConfigFields& setAside) {
  fields.dataTrackingOptedOut |= setAside.dataTrackingOptedOut;
  fields.userPushOptedOut |= setAside.userPushOptedOut;
  fields.userInAppOptedOut |= setAside.userInAppOptedOut;
  if (fields.dataRedirectionRegion.isNil()) fields.dataRedirectionRegion = setAside.dataRedirectionRegion;
  return fields;
}

TWConfigFields withChanges(TWConfigFields fields, const std::vector<PendingChanges::Change>& changes) {
  for (const PendingChanges::Change& change : changes) {
    const base::Value content = base::propertyListWithData(change.contents);
    if (content.dictionary()) takeScalars(*content.dictionary(), fields, kDeviceProperties);
  }
  return fields;
}

bool areAmong(const std::vector<PendingChanges::Change>& changes,
              const std::vector<PendingChanges::Change>& others) {
  return std::all_of(changes.begin(), changes.end(), [&](const PendingChanges::Change& change) {
    return std::any_of(others.begin(), others.end(),
                       [&](const PendingChanges::Change& other) { return other.path == change.path; });
  });
}

TWConfigFields fieldsOf(const ConfigRecord& record) { return record.read().retain()->fields; }

/// The keys of the properties, for a log line.
std::string keysOf(PropertySet properties) {
  std::string keys;
  for (const std::uint8_t row : kArchiveOrder) {
    const ConfigField& field = kConfigFields[row];
    if ((properties & propertyBit(field.property)) == 0) continue;
    if (!keys.empty()) keys += ", ";
    keys += field.key;
  }
  return keys;
}

}  // namespace

std::optional<std::string> ConfigArchive::path() {
  const std::optional<std::string> directory = TWCoreUtils::getSDKLibraryDirectoryPath();
  if (!directory) return std::nullopt;
  return platform::stringByAppendingPathComponent(*directory, kFileName);
}

ConfigArchive::Content ConfigArchive::read(const std::string& path, Wanted wanted) {
  platform::FileContents file = files().contentsOfFile(path);
  if (file.error == std::errc::no_such_file_or_directory) return {};
  if (file.error) return {Found::unreadable, {}, file.error.message(), {}};
  try {
    return decode(std::move(file.contents), wanted);
  } catch (...) {  // not the file's fault
    return {Found::unreadable, {}, base::currentExceptionDescription(), {}};
  }
}

ConfigArchive::Content ConfigArchive::decode(std::string bytes, Wanted wanted) {
  Content content;
  const auto takeReadable = [&](Found found) {
    const std::optional<base::Dictionary> scalars = base::scalarsOfArchivedRecord(bytes, kRecordClass);
    if (!scalars) return false;
    content.found = found;
    content.fields = {};
    takeScalars(*scalars, content.fields, kAllProperties);
    return true;
  };
  if (wanted == Wanted::deviceProperties && takeReadable(Found::record)) return content;
  try {
    PropertySet broken = 0;
    const auto take = [&](base::KeyedDecoder& decoder) { content.fields = decodeFields(decoder, &broken); };
    if (base::unarchiveRecord(bytes, kRecordClass, take, kConfigArchiveBounds)) {
      content.found = broken == 0 ? Found::record : Found::part;
      if (broken != 0) content.reason = "broken are " + keysOf(broken);
    }
  } catch (const base::Exception& exception) {
    const bool isLarge = bytes.size() > kConfigArchiveBounds.bytes;
    content.found = Found::undecodable;
    content.reason = exception.reason();
    takeReadable(isLarge ? Found::largeRecord : Found::part);
  }
  if (content.found == Found::part) content.bytes = std::move(bytes);
  return content;
}

ConfigArchive::Content ConfigArchive::readSetAside(const std::string& path) const {
  return setAside_ ? read(unreadablePath(path)) : Content();
}

std::optional<TWConfigFields> ConfigArchive::load(const std::optional<std::string>& path, Reports& reports) {
  known_ = hasRead_ = isBroken_ = hasUnwritten_ = false;
  // Changes stored beside the archive by an earlier record of this process are merged like any others.
  stored_ = {};
  kept_ = {};
  keptAs_.clear();
  if (!path) return std::nullopt;
  const PendingChanges pending(files(), *path);
  setAside_ = files().fileExistsAtPath(unreadablePath(*path)).exists;
  std::error_code listing;
  Changes changes = pending.read(&listing);
  Content content = read(*path);
  // A change that is gone by now is in the archive, but perhaps not yet in the contents read from it.
  for (int reads = 1; !changes.empty(); ++reads) {
    Changes now = pending.read();
    const bool isComplete = areAmong(changes, now);
    changes = std::move(now);
    if (isComplete || reads == kMaximumReads) break;
    content = read(*path);
  }
  if (content.found == Found::undecodable) {
    // Read again under the lock, because another process may have replaced the file. If another process holds
    // the lock, it may do so at any time, so the file stays until the next write.
    const platform::LockResult lock = files().lockForPath(*path);
    content = read(*path);
    if (content.found == Found::undecodable) {
      if (lock.isHeldByAnother()) {
        report("The configuration archive cannot be decoded: " + content.reason, reports);
      } else {
        static_cast<void>(keepAside(*path, content, reports));
      }
    }
  }
  known_ = content.found != Found::unreadable;
  hasRead_ = content.hasFields();
  isBroken_ = content.found == Found::part;
  if (!known_) report("The configuration cannot be read for now: " + content.reason, reports);
  if (isBroken_) report("The configuration archive can be read in part: " + content.reason, reports);
  if (known_ && listing) {
    report("Changes beside the configuration archive cannot be listed for now: " + listing.message(),
           reports);
  }
  if (content.found == Found::largeRecord) {
    report("The configuration archive is too large: its lists are not read", reports);
  }

  const Content setAside = readSetAside(*path);
  hasUnwritten_ = !changes.empty() || (known_ && listing) || isBroken_ || content.found == Found::largeRecord;
  if (!content.hasFields() && !setAside.hasFields() && changes.empty()) return std::nullopt;
  TWConfigFields fields = std::move(content.fields);
  if (!content.hasFields()) {
    fields = defaultFields();
    if (setAside.hasFields()) fields.dataRedirectionRegion = {};
  }
  if (setAside.hasFields()) fields = withRecovered(std::move(fields), setAside.fields);
  return withChanges(std::move(fields), changes);
}

bool ConfigArchive::store(const std::optional<std::string>& path, ConfigRecord& record, Reports& reports) {
  if (!path) {
    report("The configuration cannot be kept: there is no library directory", reports);
    return true;
  }
  platform::LockResult lock = files().lockForPath(*path);
  if (lock.isHeldByAnother()) {
    keepBeside(*path, record, reports);
    // The holder may have made its last check for changes before this one was stored.
    lock = files().lockForPath(*path);
    if (lock.isHeldByAnother()) return false;
  }
  PendingChanges pending(files(), *path);
  Changes changes = pending.read();
  for (int round = 0; round < kMaximumRounds; ++round) {
    if (!write(*path, record, changes, reports)) return false;
    pending.remove(changes);
    Changes left = pending.read();
    if (areAmong(left, changes)) return true;  // none, or one that cannot be removed
    changes = std::move(left);
  }
  return false;
}

ConfigArchive::Found ConfigArchive::adopt(const std::string& path, const Content& content,
                                          const Changes& changes, ConfigRecord& record) {
  hasRead_ = hasRead_ || content.hasFields();
  // Another process may have set one aside since the last check.
  setAside_ = setAside_ || files().fileExistsAtPath(unreadablePath(path)).exists;
  if (content.hasFields()) record.adopt(content.fields, known_ ? kDeviceProperties : kAllProperties);
  const Content setAside = readSetAside(path);
  const bool isSetAside =
      content.found == Found::unreadable || setAside.hasFields() || setAside.found == Found::unreadable;
  TWConfigFields fields = fieldsOf(record);
  if (isSetAside && !hasRead_ &&
      (record.written() & propertyBit(TWConfigPropertyDataRedirectionRegion)) == 0) {
    fields.dataRedirectionRegion = {};  // none was chosen: the one in the file set aside applies
  }
  if (setAside.hasFields()) fields = withRecovered(std::move(fields), setAside.fields);
  record.adopt(withChanges(std::move(fields), changes), kDeviceProperties);
  return setAside.found;
}

bool ConfigArchive::write(const std::string& path, ConfigRecord& record, const Changes& changes,
                          Reports& reports) {
  const PropertySet outside = propertiesOutOfBounds(fieldsOf(record), kAllProperties);
  const bool isPartEnough = known_ && !isBroken_ && outside == 0;
  const Content content = read(path, isPartEnough ? Wanted::deviceProperties : Wanted::everything);
  const PropertySet written = record.written() & kDeviceProperties;
  const Found setAside = adopt(path, content, changes, record);

  TWConfigFields fields = fieldsOf(record);
  const base::Dictionary chosen = scalarsOf(fields, written);
  std::string left;
  if (outside != 0) {
    copyFields(content.fields, fields, outside);
    copyFields({}, fields, propertiesOutOfBounds(fields, outside));
    left = "Not written to the configuration archive, too large or of a kind that it cannot hold: " +
           keysOf(outside);
    report(left, reports);
  }
  const std::string bytes = base::archivedDataWithRecord(
      kRecordClass, [&](base::KeyedEncoder& encoder) { encodeFields(fields, encoder); });

  if (content.found == Found::part) {
    // A copy, because the archive must stay until the new one replaces it.
    static_cast<void>(files().replaceFile(corruptPath(path), content.bytes));
  }
  const bool moves = content.found == Found::undecodable || content.found == Found::unreadable;
  if (moves && !keepAside(path, content, reports)) return false;
  if (const std::error_code error = files().replaceFile(path, bytes)) {
    report("The configuration was not written: " + error.message(), reports);
    if (content.found == Found::unreadable && files().moveItem(unreadablePath(path), path)) setAside_ = true;
    return false;
  }
  known_ = true;
  isBroken_ = false;
  stored_ = chosen;
  kept_ = {};
  keptAs_.clear();
  reported_.clear();
  if (outside != 0) reported_.push_back(std::move(left));
  if (content.found == Found::unreadable) {
    setAside_ = true;
  } else if (setAside_ && setAside != Found::unreadable) {
    setAside_ = static_cast<bool>(files().moveItem(unreadablePath(path), corruptPath(path)));
  }
  return true;
}

void ConfigArchive::keepBeside(const std::string& path, const ConfigRecord& record, Reports& reports) {
  const PropertySet written = record.written() & kDeviceProperties;  // first, so that each value is as new
  const base::Dictionary chosen = scalarsOf(fieldsOf(record), written);
  base::Dictionary change;
  for (const auto& [key, value] : chosen) {
    const base::Value* const stored = stored_.find(key);
    if (stored == nullptr || *stored != value || kept_.find(key) != nullptr) change.setObject(value, key);
  }
  if (!change.empty() && change != kept_) {
    std::string keptAs;
    const std::string bytes = base::dataWithPropertyList(change, base::PropertyListFormat::binary);
    if (const std::error_code error = PendingChanges(files(), path).keep(bytes, &keptAs)) {
      report(
          "A change cannot be kept while another process holds the configuration archive: " + error.message(),
          reports);
      return;
    }
    if (!keptAs_.empty())
      static_cast<void>(files().removeItem(keptAs_));  // the new file includes everything in it
    keptAs_ = std::move(keptAs);
    kept_ = std::move(change);
  }
  report("Another process holds the configuration archive: changes wait beside it until it is free", reports);
}

/// Moves a file aside that must not be overwritten; returns false if it had to stay.
bool ConfigArchive::keepAside(const std::string& path, const Content& content, Reports& reports) {
  const bool undecodable = content.found == Found::undecodable;
  const std::string to = undecodable ? corruptPath(path) : unreadablePath(path);
  const std::error_code error = files().moveItem(path, to);
  std::string text = undecodable ? "The configuration archive cannot be decoded"
                                 : "The configuration archive cannot be read";
  text += error ? " and could not be moved away (" + error.message() + "): "
                : " and is kept aside as " + to.substr(to.rfind('/') + 1) + ": ";
  report(text + content.reason, reports);
  return !error;
}

void ConfigArchive::report(std::string text, Reports& reports) {
  if (std::find(reported_.begin(), reported_.end(), text) != reported_.end()) return;
  reported_.push_back(text);
  reports.push_back(std::move(text));
}

}  // namespace tidewell

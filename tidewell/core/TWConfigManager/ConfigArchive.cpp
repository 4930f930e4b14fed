#include "tidewell/core/TWConfigManager/ConfigArchive.h"

#include <memory>
#include <system_error>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/KeyedArchive.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

platform::FileManager& files() { return platform::Platform::current().fileManager(); }
std::string corruptPath(const std::string& path) { return path + ".corrupt"; }
std::string unreadablePath(const std::string& path) { return path + ".unreadable"; }

/// What counts of a record that could not be read when it was needed: its opt-outs, for an opt-out must not
/// be lost, and its region where none was chosen since.
TWConfigFields withRecovered(TWConfigFields fields, const TWConfigFields& setAside) {
  fields.dataTrackingOptedOut |= setAside.dataTrackingOptedOut;
  fields.userPushOptedOut |= setAside.userPushOptedOut;
  fields.userInAppOptedOut |= setAside.userInAppOptedOut;
  const base::Value& region = fields.dataRedirectionRegion;
  if (region.isNil() || region == base::Value(CONFIG_DATA_REGION_DEFAULT)) {
    fields.dataRedirectionRegion = setAside.dataRedirectionRegion;
  }
  return fields;
}

}  // namespace

std::optional<std::string> ConfigArchive::path() {
  const std::optional<std::string> directory = TWCoreUtils::getSDKLibraryDirectoryPath();
  if (!directory) return std::nullopt;
  return platform::stringByAppendingPathComponent(*directory, kFileName);
}

ConfigArchive::Content ConfigArchive::read(const std::string& path) {
  Content content;
  const platform::FileContents file = files().contentsOfFile(path);
  if (file.error == std::errc::no_such_file_or_directory) return content;
  if (file.error) return {Found::unreadable, {}, file.error.message()};
  try {
    const bool decoded = base::unarchiveRecord(file.contents, kRecordClass, [&](base::KeyedDecoder& decoder) {
      content.fields = decodeFields(decoder);
    });
    if (decoded) content.found = Found::record;
  } catch (const base::Exception& exception) {
    return {Found::undecodable, {}, exception.reason()};
  } catch (...) {  // no fault of the file's
    return {Found::unreadable, {}, base::currentExceptionDescription()};
  }
  return content;
}

ConfigArchive::Content ConfigArchive::readSetAside(const std::string& path) const {
  return setAside_ ? read(unreadablePath(path)) : Content();
}

std::optional<TWConfigFields> ConfigArchive::load(const std::optional<std::string>& path, Reports& reports) {
  known_ = false;
  if (!path) return std::nullopt;
  setAside_ = files().fileExistsAtPath(unreadablePath(*path)).exists;
  Content content = read(*path);
  if (content.found == Found::undecodable) {
    // Looked at again under the lock: another process may have replaced it by now.
    const platform::LockResult lock = files().lockForPath(*path);
    content = read(*path);
    if (content.found == Found::undecodable) static_cast<void>(keepAside(*path, content, reports));
  }
  known_ = content.found != Found::unreadable;
  if (!known_) reports.push_back("The configuration cannot be read for now: " + content.reason);

  const Content setAside = readSetAside(*path);
  if (setAside.found == Found::record) {
    return withRecovered(content.found == Found::record ? content.fields : defaultFields(), setAside.fields);
  }
  if (content.found != Found::record) return std::nullopt;
  return std::move(content.fields);
}

bool ConfigArchive::store(const std::optional<std::string>& path, ConfigRecord& record, Reports& reports) {
  if (!path) {
    reports.emplace_back("The configuration cannot be kept: there is no library directory");
    return true;
  }
  const platform::LockResult lock = files().lockForPath(*path);
  const Content content = read(*path);
  // Another process may have set one aside since this one looked.
  setAside_ = setAside_ || files().fileExistsAtPath(unreadablePath(*path)).exists;
  if (content.found == Found::record)
    record.adopt(content.fields, known_ ? kDeviceProperties : kAllProperties);
  const Content setAside = readSetAside(*path);
  if (setAside.found == Found::record) {
    record.adopt(withRecovered(record.read()->fields, setAside.fields), kDeviceProperties);
  }

  const auto snapshot = record.read().retain();
  const std::string bytes = base::archivedDataWithRecord(
      kRecordClass, [&](base::KeyedEncoder& encoder) { encodeFields(snapshot->fields, encoder); });
  if (bytes.size() > platform::FileManager::kMaximumFileBytes) {
    reports.emplace_back("The configuration was not written: its archive would be too large to read again");
    return true;
  }

  const bool moves = content.found == Found::undecodable || content.found == Found::unreadable;
  if (moves && !keepAside(*path, content, reports)) return false;
  if (const std::error_code error = files().replaceFile(*path, bytes)) {
    reports.push_back("The configuration was not written: " + error.message());
    if (content.found == Found::unreadable && files().moveItem(unreadablePath(*path), *path))
      setAside_ = true;
    return false;
  }
  known_ = true;
  if (content.found == Found::unreadable) {
    setAside_ = true;
  } else if (setAside_ && setAside.found != Found::unreadable) {
    setAside_ = static_cast<bool>(files().moveItem(unreadablePath(*path), corruptPath(*path)));
  }
  return true;
}

/// Moves a file out of the way that must not be overwritten; NO where it had to stay.
bool ConfigArchive::keepAside(const std::string& path, const Content& content, Reports& reports) {
  const bool undecodable = content.found == Found::undecodable;
  const std::string to = undecodable ? corruptPath(path) : unreadablePath(path);
  const std::error_code error = files().moveItem(path, to);
  std::string report = undecodable ? "The configuration archive cannot be decoded"
                                   : "The configuration archive cannot be read";
  report += error ? " and could not be moved away (" + error.message() + "): "
                  : " and is kept aside as " + to.substr(to.rfind('/') + 1) + ": ";
  reports.push_back(report + content.reason);
  return !error;
}

}  // namespace tidewell

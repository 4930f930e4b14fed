// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PosixDevice.h"

#include <sys/utsname.h>

#include <algorithm>
#include <utility>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/Digest.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/FileLock.h"

namespace tidewell::posix {
namespace {

/// Larger than any file read here.
constexpr std::size_t kMaximumFactBytes = 64u << 10;
constexpr std::size_t kMaximumModelBytes = 128;

/// Placeholders that board makers leave in the product name.
constexpr std::string_view kPlaceholders[] = {"To Be Filled By O.E.M.",
                                              "To be filled by O.E.M.",
                                              "System Product Name",
                                              "Default string",
                                              "Not Specified",
                                              "Not Applicable",
                                              "Product Name",
                                              "None",
                                              "Unknown",
                                              "OEM",
                                              "O.E.M.",
                                              "empty"};

std::string_view withoutOuterSpace(std::string_view text) {
  return base::detail::trimmed(text, std::string_view(" \t\r\n\0", 5));
}

/// Whether a text is a plausible product name: short, printable ASCII, not a placeholder.
bool isSaneModel(std::string_view text) {
  return !text.empty() && text.size() <= kMaximumModelBytes &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }) &&
         std::find(std::begin(kPlaceholders), std::end(kPlaceholders), text) == std::end(kPlaceholders);
}

bool isHexadecimal(std::string_view text) {
  return std::all_of(text.begin(), text.end(), base::detail::isHexDigit);
}

/// 32 hexadecimal digits (machine-id(5)). A system without an id yet has "uninitialized" or zeros.
bool isMachineId(std::string_view text) {
  return text.size() == 32 && isHexadecimal(text) && text.find_first_not_of('0') != std::string_view::npos;
}

bool isUuid(std::string_view text) {
  if (text.size() != 36) return false;
  std::string digits(text);
  for (const std::size_t hyphen : {23u, 18u, 13u, 8u}) {
    if (digits[hyphen] != '-') return false;
    digits.erase(hyphen, 1);
  }
  return isHexadecimal(digits);
}

/// The value of a line NAME=VALUE with shell quoting (os-release(5)).
std::string valueOfLine(std::string_view text, std::string_view name) {
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    std::string_view line = withoutOuterSpace(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.starts_with(name) || !line.substr(name.size()).starts_with('=')) continue;
    line.remove_prefix(name.size() + 1);
    if (line.size() >= 2 && (line.front() == '"' || line.front() == '\'') && line.back() == line.front()) {
      line = line.substr(1, line.size() - 2);
    }
    std::string value;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '\\' && i + 1 < line.size()) ++i;
      value += line[i];
    }
    return value;
  }
  return {};
}

std::string vendorOf(std::string_view bundleIdentifier) {
  const auto dot = bundleIdentifier.rfind('.');
  return std::string(dot == std::string_view::npos || dot == 0 ? bundleIdentifier
                                                               : bundleIdentifier.substr(0, dot));
}

utsname kernel() {
  utsname names{};
  static_cast<void>(uname(&names));
  return names;
}

}  // namespace

PosixDevice::PosixDevice(Container container, std::string systemRoot, std::string_view bundleIdentifier)
    : container_(std::move(container)),
      systemRoot_(std::move(systemRoot)),
      vendor_(vendorOf(bundleIdentifier)) {}

template <class LookUp>
std::string PosixDevice::once(std::optional<std::string> PosixDevice::*fact, LookUp lookUp) {
  {
    const base::MutexLock lock(mutex_);
    if (this->*fact) return *(this->*fact);
  }
  std::string found = lookUp();
  const base::MutexLock lock(mutex_);
  if (!(this->*fact)) this->*fact = std::move(found);
  return *(this->*fact);
}

std::string PosixDevice::firstLine(std::string_view path) const {
  const platform::FileContents file =
      readFile(systemRoot_ + std::string(path), FileOwner::any, kMaximumFactBytes);
  const std::string_view contents = file.contents;
  return std::string(withoutOuterSpace(contents.substr(0, contents.find('\n'))));
}

std::optional<std::string> PosixDevice::identifierForVendor() {
  std::string identifier = once(&PosixDevice::vendorIdentifier_, [this] { return lookUpVendorIdentifier(); });
  if (identifier.empty()) return std::nullopt;
  return identifier;
}

std::string PosixDevice::lookUpVendorIdentifier() {
  for (const std::string_view path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    const std::string machineId = firstLine(path);
    if (!isMachineId(machineId)) continue;
    return base::UUIDStringWithBytes(base::hmacSha256(vendor_, machineId).data());
  }
  const base::MutexLock keeping(keeping_);
  return keptVendorIdentifier();
}

/// The stored identifier; empty if there is none, with the error if it cannot be read.
platform::FileContents PosixDevice::readVendorIdentifier(const std::string& path) const {
  if (path.empty()) return {};
  if (const auto failure = container_.checkFolders(path)) return {{}, failure};
  platform::FileContents file = readFile(path, FileOwner::user, kMaximumFactBytes);
  const std::string_view text = withoutOuterSpace(file.contents);
  file.contents = isUuid(text) ? std::string(text) : "";
  return file;
}

/// The random identifier shared by all applications of the vendor. If it can be neither read nor stored, one
/// that lasts as long as the process; an unreadable file is not overwritten.
std::string PosixDevice::keptVendorIdentifier() {
  {
    const base::MutexLock lock(mutex_);
    if (vendorIdentifier_) return *vendorIdentifier_;
  }
  std::string fresh;
  try {
    fresh = base::UUIDString();
  } catch (const base::Exception&) {
    return {};  // no random bytes
  }
  const std::string path = container_.vendorFile(vendor_);
  if (std::string kept = readVendorIdentifier(path).contents; !kept.empty()) return kept;
  std::error_code failure = path.empty() ? std::make_error_code(std::errc::no_such_file_or_directory)
                                         : container_.makeFolder(folderOf(path));
  std::string notice;
  if (!failure) {
    const platform::LockResult lock = lockFile(path);
    notice = noticeOfMissingLock(path, lock.error);
    if (lock.isHeldByAnother()) failure = lock.error;
    if (!failure) {
      // Another process may have stored one meanwhile.
      platform::FileContents kept = readVendorIdentifier(path);
      if (!kept.contents.empty()) return kept.contents;
      failure = kept.error == std::errc::no_such_file_or_directory ? std::error_code() : kept.error;
    }
    if (!failure) failure = replaceFile(path, fresh + "\n");
  }
  if (!notice.empty()) platform::report(notice);
  if (failure) {
    platform::report("The vendor identifier lives as long as this process: " +
                     (path.empty() ? "there is no home directory" : path + ": " + failure.message()));
  }
  return fresh;
}

std::string PosixDevice::modelOfHardware() {
  return once(&PosixDevice::model_, [this] {
    for (const std::string_view path : {"/sys/class/dmi/id/product_name",
                                        "/sys/firmware/devicetree/base/model", "/proc/device-tree/model"}) {
      std::string model = firstLine(path);
      if (isSaneModel(model)) return model;
    }
    return std::string();
  });
}

std::optional<std::string> PosixDevice::model() {
  std::string model = modelOfHardware();
  return model.empty() ? "Linux" : model;
}

std::optional<std::string> PosixDevice::localizedModel() { return model(); }

std::string PosixDevice::machine() {
  std::string model = modelOfHardware();
  return model.empty() ? kernel().machine : model;
}

std::optional<std::string> PosixDevice::systemVersion() {
  return once(&PosixDevice::systemVersion_, [this] { return lookUpSystemVersion(); });
}

std::string PosixDevice::lookUpSystemVersion() const {
  for (const std::string_view path : {"/etc/os-release", "/usr/lib/os-release"}) {
    const platform::FileContents file =
        readFile(systemRoot_ + std::string(path), FileOwner::any, kMaximumFactBytes);
    std::string version = valueOfLine(file.contents, "VERSION_ID");
    if (isSaneModel(version)) return version;
  }
  return kernel().release;
}

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/posix/internal/PropertyListFile.h"

#include <cerrno>
#include <cstdio>

#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/posix/internal/AtomicFile.h"
#include "tidewell/posix/internal/Descriptor.h"

namespace tidewell::posix {

PropertyListFile PropertyListFile::read(const std::string& path, FileOwner owner) {
  PropertyListFile result;
  const platform::FileContents file = readFile(path, owner, base::kMaximumPropertyListBytes);
  if (file.error) {
    result.isMissing = file.error == std::errc::no_such_file_or_directory;
    if (!result.isMissing) result.error = file.error;
    return result;
  }
  const base::Value value = base::propertyListWithData(file.contents);
  if (const base::Dictionary* const dictionary = value.dictionary()) {
    result.contents = *dictionary;
  } else {
    result.isCorrupt = true;
  }
  return result;
}

std::error_code keepAside(const std::string& path) {
  return std::rename(path.c_str(), (path + ".corrupt").c_str()) == 0 ? std::error_code() : lastError();
}

std::error_code writePropertyListFile(const std::string& path, const base::Dictionary& contents) {
  const std::string bytes = base::dataWithPropertyList(contents, base::PropertyListFormat::binary);
  if (bytes.size() > base::kMaximumPropertyListBytes) return std::make_error_code(std::errc::file_too_large);
  return replaceFile(path, bytes);
}

}  // namespace tidewell::posix

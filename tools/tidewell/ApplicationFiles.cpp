// SPDX-License-Identifier: Apache-2.0
#include "ApplicationFiles.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "Output.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/KeyedArchive.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/core/TWConfigManager/internal/ConfigArchive.h"

namespace tidewell::tool {
namespace {

namespace fs = std::filesystem;

/// Within a container.
constexpr std::string_view kSDKFolder = "/Library/Tidewell";
constexpr std::size_t kMostFiles = 1000;
/// The most folders looked at in the data folder, which all programs of the user share.
constexpr std::size_t kMostFolders = 10'000;

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value == '/' ? value : "";
}

bool isFolder(const std::string& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

std::optional<FileFacts> factsOf(const std::string& path) {
  struct stat record {};
  if (lstat(path.c_str(), &record) != 0 || !S_ISREG(record.st_mode)) return {};
  return FileFacts{path, static_cast<std::uint64_t>(record.st_size),
                   base::Date{static_cast<double>(record.st_mtim.tv_sec)}, record.st_mode & 07777u};
}

std::optional<std::string> contentsOf(const std::string& path) {
  if (!factsOf(path)) return {};
  return readInput(path);
}

}  // namespace

void addChoice(tools::Command to, ApplicationChoice& choice) {
  const tools::Option app =
      to.option("--app", choice.bundleIdentifier, "bundle identifier of the application").value("BUNDLE_ID");
  to.option("--container", choice.container, "folder of the application's files").value("DIR").excludes(app);
}

std::string ApplicationFiles::dataHome() {
  if (const std::string data = variable("XDG_DATA_HOME"); !data.empty()) return data;
  if (const std::string home = variable("HOME"); !home.empty()) return home + "/.local/share";
  throw Failure("neither XDG_DATA_HOME nor HOME names a folder; use --container");
}

std::vector<std::string> ApplicationFiles::names() {
  std::vector<std::string> found;
  std::error_code error;
  std::size_t seen = 0;
  for (fs::directory_iterator each(dataHome(), error), end; !error && each != end && seen < kMostFolders;
       each.increment(error), ++seen) {
    if (isFolder(each->path().string().append(kSDKFolder))) found.push_back(each->path().filename().string());
  }
  std::sort(found.begin(), found.end());
  return found;
}

ApplicationFiles::ApplicationFiles(const ApplicationChoice& choice) {
  if (!choice.container.empty()) {
    std::error_code error;
    folder_ = fs::absolute(choice.container, error).lexically_normal().string();
    while (folder_.size() > 1 && folder_.ends_with('/')) folder_.pop_back();
    name_ = fs::path(folder_).filename().string();
  } else if (!choice.bundleIdentifier.empty()) {
    name_ = base::fileNameForIdentifier(choice.bundleIdentifier);
    folder_ = dataHome() + "/" + name_;
  } else {
    throw Failure("name an application with --app or --container; `tidewell inspect` lists them");
  }
  if (!isFolder(folder_)) throw Failure(visible(folder_) + ": no such container");
}

std::string ApplicationFiles::sdkFolder() const { return folder_ + std::string(kSDKFolder); }
std::string ApplicationFiles::fileOfSDK(std::string_view name) const {
  return sdkFolder().append("/").append(name);
}
std::string ApplicationFiles::archive() const { return fileOfSDK(ConfigArchive::kFileName); }

std::string ApplicationFiles::keychain() const {
  return fs::path(folder_).parent_path().string() + "/.tidewell-keychain/" + name_ + ".plist";
}

std::unique_ptr<TWConfig> ApplicationFiles::record() const {
  const auto contents = contentsOf(archive());
  if (!contents) return std::make_unique<TWConfig>();
  std::unique_ptr<TWConfig> record;
  try {
    (void)base::unarchiveRecord(*contents, ConfigArchive::kRecordClass, [&](base::KeyedDecoder& decoder) {
      record = std::make_unique<TWConfig>(decoder);
    });
  } catch (const base::Exception& exception) {
    throw Failure(visible(archive()) + ": " + exception.what());
  }
  return record ? std::move(record) : std::make_unique<TWConfig>();
}

base::Dictionary ApplicationFiles::propertyList(const std::string& path) {
  const auto contents = contentsOf(path);
  if (!contents) return {};
  const base::Value list = base::propertyListWithData(*contents);
  return list.dictionary() ? *list.dictionary() : base::Dictionary();
}

std::optional<std::string> ApplicationFiles::bytes(std::string_view fileName) const {
  return contentsOf(fileOfSDK(fileName));
}

std::vector<FileFacts> ApplicationFiles::files() const {
  std::vector<FileFacts> found;
  std::error_code error;
  for (fs::recursive_directory_iterator each(folder_, error), end;
       !error && each != end && found.size() < kMostFiles; each.increment(error)) {
    if (each.depth() > 16) each.disable_recursion_pending();
    if (auto facts = factsOf(each->path().string())) found.push_back(std::move(*facts));
  }
  if (auto facts = factsOf(keychain())) found.push_back(std::move(*facts));
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
  return found;
}

}  // namespace tidewell::tool

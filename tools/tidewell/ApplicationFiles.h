// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Value.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tools/CommandLine.h"

namespace tidewell::tool {

/// The choice of an application on the command line.
struct ApplicationChoice {
  std::string bundleIdentifier;
  std::string container;
};
void addChoice(tools::Command to, ApplicationChoice& choice);

/// One file of an application's container.
struct FileFacts {
  std::string path;
  std::uint64_t bytes = 0;
  base::Date modified{};
  unsigned mode = 0;
};

/// The files that the SDK keeps for one application. Reads them only, without their locks: each is replaced
/// whole, so a reader sees the old or the new contents.
class ApplicationFiles {
 public:
  /// The chosen application. Raises `Failure` if there is no such container, or none was chosen.
  explicit ApplicationFiles(const ApplicationChoice& choice);

  /// The names of the folders that hold a container of the SDK, sorted.
  [[nodiscard]] static std::vector<std::string> names();
  /// The folder in which `names` looks.
  [[nodiscard]] static std::string dataHome();

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] const std::string& folder() const { return folder_; }
  [[nodiscard]] std::string sdkFolder() const;
  [[nodiscard]] std::string fileOfSDK(std::string_view name) const;
  [[nodiscard]] std::string archive() const;
  [[nodiscard]] std::string userDefaults() const {
    return folder_ + "/Library/Preferences/" + name_ + ".plist";
  }
  [[nodiscard]] std::string keychain() const;

  /// The record in the archive; one of defaults without an archive. Raises `Failure` for an archive that
  /// cannot be decoded.
  [[nodiscard]] std::unique_ptr<TWConfig> record() const;
  /// The dictionary in a property list; empty without one, or if it cannot be decoded.
  [[nodiscard]] static base::Dictionary propertyList(const std::string& path);
  /// The bytes of a file of the SDK's folder; no value without one.
  [[nodiscard]] std::optional<std::string> bytes(std::string_view fileName) const;
  /// All regular files of the container, and the keychain's; at most a thousand.
  [[nodiscard]] std::vector<FileFacts> files() const;

 private:
  std::string name_;
  std::string folder_;
};

}  // namespace tidewell::tool

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace tidewell::posix {

/// The paths of an application's files. A plain value type; every path is "" if there is no home directory.
///
///     DATA_HOME/BUNDLE/Library/Preferences/BUNDLE.plist   standard user defaults
///     DATA_HOME/BUNDLE/Documents
///     DATA_HOME/GROUP/Library/Preferences/GROUP.plist     user defaults of an application group
///     DATA_HOME/.tidewell-keychain/BUNDLE.plist           keychain; survives removal of the container
///     DATA_HOME/.tidewell-keychain/VENDOR.vendor          vendor identifier, if there is no machine id
///
/// Identifiers are percent-escaped, including a leading full stop, so that none can refer to another folder.
///
/// Folders below DATA_HOME are used only while the effective user owns them and no other user may write to
/// them. DATA_HOME and the folders above it are under the user's control and may be links.
class Container {
 public:
  /// `existing` is a folder that is never created, the user's home; "" for none.
  Container(std::string dataHome, std::string existing, std::string_view bundleIdentifier);

  [[nodiscard]] std::string library() const { return inContainer(bundle_, "Library"); }
  [[nodiscard]] std::string documents() const { return inContainer(bundle_, "Documents"); }
  [[nodiscard]] std::string userDefaultsFile() const { return preferencesFile(bundle_); }
  [[nodiscard]] std::string userDefaultsFileOfGroup(std::string_view group) const;
  [[nodiscard]] std::string keychainFile() const { return inKeychain(bundle_ + ".plist"); }
  [[nodiscard]] std::string vendorFile(std::string_view vendor) const;

  /// No error if every existing folder from DATA_HOME to the last component of `path` may be used. Paths
  /// outside are not checked. A link among them, and its target, must belong to the user.
  [[nodiscard]] std::error_code checkFolders(const std::string& path) const { return check(path).error; }
  /// Creates the folder and its missing parents with mode 0700, if the existing ones may be used.
  [[nodiscard]] std::error_code makeFolder(const std::string& path) const;

 private:
  struct Folders {
    std::error_code error;
    bool exist = false;  ///< all of them
  };
  [[nodiscard]] Folders check(const std::string& path) const;
  [[nodiscard]] std::string inContainer(const std::string& name, std::string_view component) const;
  [[nodiscard]] std::string preferencesFile(const std::string& name) const;
  [[nodiscard]] std::string inKeychain(const std::string& name) const;

  std::string dataHome_;
  std::string existing_;
  std::string bundle_;
};

}  // namespace tidewell::posix

#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace tidewell::posix {

/// Where an application's files lie. A plain value; every path is "" where the machine has no home.
///
///     DATA_HOME/BUNDLE/Library/Preferences/BUNDLE.plist   the standard user defaults
///     DATA_HOME/BUNDLE/Documents
///     DATA_HOME/GROUP/Library/Preferences/GROUP.plist     those of an application group
///     DATA_HOME/.tidewell-keychain/BUNDLE.plist           what survives the removal of the container
///     DATA_HOME/.tidewell-keychain/VENDOR.vendor          a vendor identifier, where there is no machine id
///
/// Identifiers are percent-escaped, a leading full stop too, so that none of them leads elsewhere.
///
/// The folders below DATA_HOME are used only while they belong to the effective user and no other user may
/// write them. DATA_HOME and what is above it are the user's to arrange, links included.
class Container {
 public:
  /// `existing` is a folder that is never made, the user's home; "" for none.
  Container(std::string dataHome, std::string existing, std::string_view bundleIdentifier);

  [[nodiscard]] std::string library() const { return inContainer(bundle_, "Library"); }
  [[nodiscard]] std::string documents() const { return inContainer(bundle_, "Documents"); }
  [[nodiscard]] std::string userDefaultsFile() const { return preferencesFile(bundle_); }
  [[nodiscard]] std::string userDefaultsFileOfGroup(std::string_view group) const;
  [[nodiscard]] std::string keychainFile() const { return inKeychain(bundle_ + ".plist"); }
  [[nodiscard]] std::string vendorFile(std::string_view vendor) const;

  /// No error where every folder between DATA_HOME and the last component of `path` that exists may be used.
  /// Paths elsewhere are not looked at. A link among them must belong to the user, as must what it leads to.
  [[nodiscard]] std::error_code checkFolders(const std::string& path) const;
  /// Makes the folder and what is missing above it, mode 0700, where the folders that exist may be used.
  [[nodiscard]] std::error_code makeFolder(const std::string& path) const;

 private:
  [[nodiscard]] std::string inContainer(const std::string& name, std::string_view component) const;
  [[nodiscard]] std::string preferencesFile(const std::string& name) const;
  [[nodiscard]] std::string inKeychain(const std::string& name) const;

  std::string dataHome_;
  std::string existing_;
  std::string bundle_;
};

}  // namespace tidewell::posix

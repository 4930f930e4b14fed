// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/platform/Device.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/posix/internal/Container.h"
#include "tidewell/posix/internal/Fork.h"

namespace tidewell::posix {

/// Facts about the device, from the system's files, each looked up once.
///
/// The vendor of an application is its bundle identifier without the last component. The vendor identifier is
/// derived from the machine id with the vendor as key, so that vendors cannot correlate theirs. On a machine
/// without an id it is random and stored beside the keychain.
class PosixDevice final : public platform::Device {
 public:
  /// `systemRoot` is prepended to the paths of system files.
  PosixDevice(Container container, std::string systemRoot, std::string_view bundleIdentifier);

  [[nodiscard]] std::optional<std::string> identifierForVendor() override;
  [[nodiscard]] std::optional<std::string> model() override;
  [[nodiscard]] std::optional<std::string> localizedModel() override;
  [[nodiscard]] std::optional<std::string> systemVersion() override;
  [[nodiscard]] std::string machine() override;

 private:
  /// Returns a fact, looking it up if it is unknown. Two threads may look it up at the same time.
  template <class LookUp>
  std::string once(std::optional<std::string> PosixDevice::*fact, LookUp lookUp);

  [[nodiscard]] std::string lookUpVendorIdentifier();
  [[nodiscard]] std::string keptVendorIdentifier();
  [[nodiscard]] platform::FileContents readVendorIdentifier(const std::string& path) const;
  [[nodiscard]] std::string modelOfHardware();
  [[nodiscard]] std::string lookUpSystemVersion() const;
  [[nodiscard]] std::string firstLine(std::string_view path) const;

  const Container container_;
  const std::string systemRoot_;
  const std::string vendor_;
  WorkMutex keeping_;  ///< held while a random identifier is created

  StateMutex mutex_;
  std::optional<std::string> vendorIdentifier_ TIDEWELL_GUARDED_BY(mutex_);
  std::optional<std::string> model_ TIDEWELL_GUARDED_BY(mutex_);
  std::optional<std::string> systemVersion_ TIDEWELL_GUARDED_BY(mutex_);
};

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <system_error>

#include "tidewell/platform/Keychain.h"
#include "tidewell/posix/internal/Container.h"
#include "tidewell/posix/internal/Fork.h"

namespace tidewell::posix {

/// Generic-password items of one application, in a property-list file outside its container that only its
/// user can read. Other processes of the application share the file, so each operation reads it again, and
/// those that write hold its lock. Without a home directory there is no keychain: `errSecNotAvailable`.
///
///     { "items" : [ { "svce": "…", "acct": "…", "pdmn": "ck", "v_Data": <…> }, … ] }
class PosixKeychain final : public platform::Keychain {
 public:
  explicit PosixKeychain(Container container);

  std::int32_t itemAdd(const base::Dictionary& attributes) override;
  std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) override;
  std::int32_t itemDelete(const base::Dictionary& query) override;

 private:
  /// The result of an operation on the file.
  struct Outcome {
    std::error_code failure;
    std::int32_t status = platform::errSecSuccess;
    bool wasCorrupt = false;
    std::string notice{};  ///< to report; "" for none
  };
  /// `operation` changes the items and returns a status; the items are written if that is `errSecSuccess`.
  template <class Operation>
  Outcome changeFile(Operation operation);
  template <class Operation>
  std::int32_t change(Operation operation);

  const Container container_;
  const std::string path_;
  WorkMutex file_;
};

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/Keychain.h"

namespace tidewell::testing {

/// A keychain in memory with the rules of generic passwords: an item is identified by service and account,
/// and a query matches by those of them that it contains. Any thread.
class TIDEWELL_EXPORT MemoryKeychain final : public platform::Keychain {
 public:
  MemoryKeychain();
  ~MemoryKeychain() override;
  std::int32_t itemAdd(const base::Dictionary& attributes) override;
  std::int32_t itemCopyMatching(const base::Dictionary& query, base::Data& result) override;
  std::int32_t itemDelete(const base::Dictionary& query) override;
  [[nodiscard]] std::size_t itemCount() const;
  /// Makes every operation return this status until it is set to 0; `errSecInteractionNotAllowed` simulates a
  /// locked keychain.
  void setStatus(std::int32_t status);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/UserDefaults.h"

namespace tidewell::testing {

/// User defaults in memory. Changes are visible immediately, but `restart` drops those not synchronised. Any
/// thread.
class TIDEWELL_EXPORT MemoryUserDefaults final : public platform::UserDefaults {
 public:
  MemoryUserDefaults();
  ~MemoryUserDefaults() override;
  [[nodiscard]] base::Value objectForKey(std::string_view key) override;
  void setObject(base::Value object, std::string_view forKey) override;
  void removeObjectForKey(std::string_view key) override;
  bool synchronize() override;
  /// The contents of the simulated disk.
  [[nodiscard]] base::Dictionary synchronized() const;
  /// Simulates another process that stores an object (nil removes it); visible here after the next
  /// `synchronize`.
  void setSynchronized(base::Value object, std::string_view forKey);
  [[nodiscard]] std::size_t synchronizeCount() const;
  /// Simulates a restart of the process: drops changes not synchronised and reads those of other processes.
  void restart();
  /// Makes every `synchronize` fail, and report so, until switched off.
  void setFailing(bool failing);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

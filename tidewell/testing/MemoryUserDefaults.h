#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/UserDefaults.h"

namespace tidewell::testing {

/// User defaults in memory. What was set but not synchronised is seen, and is lost by `restart`. Any thread.
class TIDEWELL_EXPORT MemoryUserDefaults final : public platform::UserDefaults {
 public:
  MemoryUserDefaults();
  ~MemoryUserDefaults() override;
  [[nodiscard]] base::Value objectForKey(std::string_view key) override;
  void setObject(base::Value object, std::string_view forKey) override;
  void removeObjectForKey(std::string_view key) override;
  bool synchronize() override;
  /// What is on the (imagined) disk.
  [[nodiscard]] base::Dictionary synchronized() const;
  /// Another process stores an object (nil removes it): seen here after the next `synchronize`.
  void setSynchronized(base::Value object, std::string_view forKey);
  [[nodiscard]] std::size_t synchronizeCount() const;
  /// The life of a process ends: what was not synchronised is forgotten, what others wrote is seen.
  void restart();
  /// Makes every `synchronize` fail, and report so, until it is switched off.
  void setFailing(bool failing);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

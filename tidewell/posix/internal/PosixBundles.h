// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "tidewell/platform/Bundle.h"
#include "tidewell/posix/Options.h"

namespace tidewell::posix {

/// Info.plist values of the host (from its options and its file) and of the SDK. Read at construction;
/// immutable afterwards.
class PosixBundles final : public platform::Bundles {
 public:
  explicit PosixBundles(const Options::State& options);

  [[nodiscard]] base::Dictionary mainInfoDictionary() override;
  [[nodiscard]] std::optional<base::Dictionary> infoDictionaryForIdentifier(
      std::string_view identifier) override;
  /// Why the file named in the options could not be used; "" if it could or none was named.
  [[nodiscard]] const std::string& complaint() const noexcept { return complaint_; }

 private:
  base::Dictionary main_;
  base::Dictionary sdk_;
  std::string complaint_;
};

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/platform/Bundle.h"
#include "tidewell/posix/Options.h"

namespace tidewell::posix {

/// Info.plist values of the host (from its options and its file) and of the SDK. A file that the options name
/// is read at construction; the one beside the executable is read when a value is first asked for, which a
/// start does not do. Immutable afterwards. Any thread.
class PosixBundles final : public platform::Bundles {
 public:
  explicit PosixBundles(const Options::State& options);
  ~PosixBundles() override;

  [[nodiscard]] base::Dictionary mainInfoDictionary() override;
  [[nodiscard]] std::optional<base::Dictionary> infoDictionaryForIdentifier(
      std::string_view identifier) override;
  /// Why the file named in the options could not be used; "" if it could or none was named.
  [[nodiscard]] const std::string& complaint() const noexcept { return complaint_; }

 private:
  [[nodiscard]] const base::Dictionary& main();

  base::Dictionary options_;  ///< take precedence over the file
  base::Dictionary sdk_;
  std::atomic<const base::Dictionary*> main_{nullptr};  ///< null until the file is read
  std::string complaint_;
};

}  // namespace tidewell::posix

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/Bundle.h"

namespace tidewell::testing {

/// Info.plist values set by a test. Initially the main bundle is org.example.shop, version 1.2.3, and the
/// SDK's own bundle exists. Any thread.
class TIDEWELL_EXPORT TestBundles final : public platform::Bundles {
 public:
  TestBundles();
  ~TestBundles() override;
  [[nodiscard]] base::Dictionary mainInfoDictionary() override;
  [[nodiscard]] std::optional<base::Dictionary> infoDictionaryForIdentifier(
      std::string_view identifier) override;
  void setMainInfoDictionary(base::Dictionary info);
  /// No value removes the bundle.
  void setInfoDictionary(std::string_view identifier, std::optional<base::Dictionary> info);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

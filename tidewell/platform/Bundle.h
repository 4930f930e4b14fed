// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/platform/BundleKeys.h"

namespace tidewell::platform {

/// Info.plist values of the application and of the libraries that it contains. Any thread; never raises.
class TIDEWELL_EXPORT Bundles {
 public:
  virtual ~Bundles();
  /// The main bundle's Info.plist.
  [[nodiscard]] virtual base::Dictionary mainInfoDictionary() = 0;
  /// The Info.plist of the bundle with that identifier; no value if no such bundle is loaded.
  [[nodiscard]] virtual std::optional<base::Dictionary> infoDictionaryForIdentifier(
      std::string_view identifier) = 0;
};

}  // namespace tidewell::platform

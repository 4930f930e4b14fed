// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"

namespace tidewell::platform {

/// The activity type of viewing a web page.
inline constexpr std::string_view NSUserActivityTypeBrowsingWeb = "NSUserActivityTypeBrowsingWeb";

/// An activity that the user began, here or on another device, and that an application can continue.
///
/// Created with `runtime::make<NSUserActivity>(NSUserActivityTypeBrowsingWeb)`. For one thread at a time.
class TIDEWELL_EXPORT NSUserActivity : public runtime::Subclass<NSUserActivity> {
 public:
  explicit NSUserActivity(std::string_view activityType);
  ~NSUserActivity() override;

  [[nodiscard]] const std::string& activityType() const noexcept { return activityType_; }
  /// No value until set.
  [[nodiscard]] const std::optional<base::Url>& webpageURL() const noexcept { return webpageURL_; }
  void setWebpageURL(std::optional<base::Url> url);

  static void describe(runtime::ClassBuilder<NSUserActivity>& c);

 private:
  const std::string activityType_;
  std::optional<base::Url> webpageURL_;
};

}  // namespace tidewell::platform

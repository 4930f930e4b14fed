// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Date.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWConfigManager/Explanation.h"
#include "tidewell/core/TWConfigManager/internal/ConfigField.h"
#include "tidewell/core/TWConfigManager/internal/ReplyMerge.h"

namespace tidewell {

/// Determines where the values of a record came from, by the last reply and the times of changes on the
/// device.
///
/// Only those are stored, never an origin for each value: a value that the reply does not explain (because
/// another process, an earlier archive or the host wrote it) has none. For one thread at a time.
class ConfigOrigins {
 public:
  struct Origin {
    ValueOrigin kind = ValueOrigin::unknown;
    std::optional<base::Date> time{};
  };
  using Origins = std::array<Origin, kConfigFields.size()>;

  /// The state of the files before the first change.
  enum class Start {
    defaults,  ///< there was no archive
    archive,   ///< there was an archive, without a file of origins
  };
  explicit ConfigOrigins(Start start) : start_(start) {}
  /// No value for bytes that `bytes` does not write. Never raises, except `std::bad_alloc`.
  [[nodiscard]] static std::optional<ConfigOrigins> read(std::string_view bytes);

  /// The contents of the file.
  [[nodiscard]] std::string bytes() const;

  void noteReply(const base::Dictionary& reply, const ReplyMerge& merge, base::Date now);
  void noteChange(TWConfigProperty property, base::Date now);

  /// The origin of each value, by row of `kConfigFields`.
  [[nodiscard]] Origins of(const TWConfigFields& fields) const;

 private:
  [[nodiscard]] Origin ofServerValue(const ConfigField& field, const TWConfigFields& fields, bool isDefault,
                                     const std::optional<ReplyMerge>& merge) const;
  [[nodiscard]] Origin ofDeviceValue(const ConfigField& field, bool isDefault) const;

  Start start_;
  /// Whether the file of origins covers this record. If not, nothing is known before the first change.
  bool isKept_ = false;
  std::optional<base::Date> replyTime_;
  base::Dictionary reply_;  ///< shares its values with the record, if it is not too large
  bool isReplyKept_ = false;
  base::Dictionary replyTypes_;
  PropertySet kept_ = 0;  ///< properties that the reply did not reach, or whose value was too large
  base::Dictionary deviceTimes_;
};

}  // namespace tidewell

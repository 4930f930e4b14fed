// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Value.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/internal/ConfigRecord.h"
#include "tidewell/platform/FileManager.h"
#include "tidewell/platform/internal/PendingChanges.h"

namespace tidewell {

/// The archive file of the record, which other processes of the application also read and write.
///
/// Never overwrites data that was not read: an undecodable file is renamed to "TdwConfig.corrupt", a
/// temporarily unreadable one to "TdwConfig.unreadable". Once the latter can be read, its opt-outs and region
/// apply again, and it is renamed to "TdwConfig.corrupt", too.
///
/// The region and the opt-outs are preserved in all cases. While another process holds the archive's lock,
/// they are stored in a file beside it (`platform::PendingChanges`), which every start reads and the next
/// holder of the lock merges. From a corrupt or oversized archive, numbers, opt-outs and texts are loaded if
/// readable. A property that an archive cannot hold is omitted.
///
/// For one thread at a time. Problems are appended to `reports`, to be reported when no lock is held; the
/// same problem only once until a write has succeeded.
class ConfigArchive {
 public:
  using Reports = std::vector<std::string>;
  static constexpr std::string_view kFileName = "TdwConfig";
  static constexpr std::string_view kRecordClass = "TWConfig";

  /// The path of the archive in the SDK's directory (created if missing); no value if there is none.
  [[nodiscard]] static std::optional<std::string> path();

  /// The record in the file, including the changes stored beside it. No value if there is no file, or it
  /// cannot be read or decoded; callers then use a default record.
  [[nodiscard]] std::optional<TWConfigFields> load(const std::optional<std::string>& path, Reports& reports);
  /// Whether the last load found something to be written to the archive.
  [[nodiscard]] bool hasUnwritten() const { return hasUnwritten_; }

  /// Writes the whole record. First takes from the file what this process has not written itself: the region
  /// and the opt-outs, or everything if no load has succeeded yet. Returns false if the record could not be
  /// written for a temporary reason.
  bool store(const std::optional<std::string>& path, ConfigRecord& record, Reports& reports);

 private:
  using Changes = std::vector<platform::PendingChanges::Change>;
  enum class Found {
    record,
    part,         ///< partly corrupt
    largeRecord,  ///< too large: only its numbers and texts were read
    nothing,
    undecodable,
    unreadable
  };
  struct Content {
    [[nodiscard]] bool hasFields() const {
      return found == Found::record || found == Found::part || found == Found::largeRecord;
    }

    Found found = Found::nothing;
    TWConfigFields fields;
    std::string reason;
    std::string bytes;  ///< only if partly corrupt
  };
  /// Which properties to read: all, or only those set on the device.
  enum class Wanted { everything, deviceProperties };

  [[nodiscard]] static Content read(const std::string& path, Wanted wanted = Wanted::everything);
  [[nodiscard]] static Content decode(std::string bytes, Wanted wanted);
  [[nodiscard]] Content readSetAside(const std::string& path) const;
  [[nodiscard]] bool keepAside(const std::string& path, const Content& content, Reports& reports);
  /// Copies to the record what this process has not written itself: from the archive's content, from the file
  /// set aside, and from pending changes. Returns the state of the file set aside.
  Found adopt(const std::string& path, const Content& content, const Changes& changes, ConfigRecord& record);
  /// Writes the record and the pending changes. Call with the lock held.
  bool write(const std::string& path, ConfigRecord& record, const Changes& changes, Reports& reports);
  /// Stores the user's choices in this process in a file beside the archive.
  void keepBeside(const std::string& path, const ConfigRecord& record, Reports& reports);
  void report(std::string text, Reports& reports);

  /// Whether the file's state is known: it was read, found missing, or written.
  bool known_ = false;
  /// Whether a record was read from the file. Until then the current region is only a default.
  bool hasRead_ = false;
  /// Whether the file is partly corrupt.
  bool isBroken_ = false;
  bool hasUnwritten_ = false;
  /// Whether "TdwConfig.unreadable" contains data that was not processed yet.
  bool setAside_ = false;
  /// Choices that this process has written to the archive, and its pending file beside it.
  base::Dictionary stored_;
  base::Dictionary kept_;
  std::string keptAs_;
  std::vector<std::string> reported_;
};

}  // namespace tidewell

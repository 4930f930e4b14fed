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

/// The archive file of the record, which other processes of the application read and write, too.
///
/// Nothing is overwritten that was not read: what cannot be decoded is moved to "TdwConfig.corrupt", what
/// cannot be read for a passing reason to "TdwConfig.unreadable". The opt-outs and the region of the latter
/// count again as soon as it can be read; then it goes to "TdwConfig.corrupt", too.
///
/// The region and the opt-outs are kept whatever else happens. While another process holds the lock of the
/// archive they wait in a file beside it (`platform::PendingChanges`), which every start reads and the next
/// holder of the lock merges. Of an archive that is broken or too large, what can be read counts: numbers,
/// opt-outs, texts. A property that no archive can carry is left out of it.
///
/// Used by one thread at a time. What went wrong is added to `reports`, to be told when no lock is held; the
/// same cause once until a write has succeeded.
class ConfigArchive {
 public:
  using Reports = std::vector<std::string>;
  static constexpr std::string_view kFileName = "TdwConfig";
  static constexpr std::string_view kRecordClass = "TWConfig";

  /// The path of the archive in the SDK's directory (made where it is missing); no value where there is none.
  [[nodiscard]] static std::optional<std::string> path();

  /// The record of the file, with the changes that wait beside it. No value where there is no file, or none
  /// that can be read or decoded: a default record serves then.
  [[nodiscard]] std::optional<TWConfigFields> load(const std::optional<std::string>& path, Reports& reports);
  /// Whether the last load found what is to be written to the archive.
  [[nodiscard]] bool hasUnwritten() const { return hasUnwritten_; }

  /// Writes the whole record. Before that it takes from the file what this process has not written itself:
  /// the region and the opt-outs, or everything where no load has succeeded yet. False where the record did
  /// not get there for a reason that may pass.
  bool store(const std::optional<std::string>& path, ConfigRecord& record, Reports& reports);

 private:
  using Changes = std::vector<platform::PendingChanges::Change>;
  enum class Found {
    record,
    part,         ///< a record of which something is broken
    largeRecord,  ///< a record that is too large: its numbers and texts were read
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
    std::string bytes;  ///< only of one that is broken in part
  };
  /// What a reader needs of the file: everything, or just what is set on the device.
  enum class Wanted { everything, deviceProperties };

  [[nodiscard]] static Content read(const std::string& path, Wanted wanted = Wanted::everything);
  [[nodiscard]] static Content decode(std::string bytes, Wanted wanted);
  [[nodiscard]] Content readSetAside(const std::string& path) const;
  [[nodiscard]] bool keepAside(const std::string& path, const Content& content, Reports& reports);
  /// Writes the record and the changes that wait, with the lock held.
  bool write(const std::string& path, ConfigRecord& record, const Changes& changes, Reports& reports);
  /// Puts what the user chose in this process into a file beside the archive.
  void keepBeside(const std::string& path, const ConfigRecord& record, Reports& reports);
  void report(std::string text, Reports& reports);

  /// Whether the file is known: it was read, or there was none, or it was written.
  bool known_ = false;
  /// Whether a record was read from the file: until then the region in force is a mere default.
  bool hasRead_ = false;
  /// Whether the file is broken in part.
  bool isBroken_ = false;
  bool hasUnwritten_ = false;
  /// Whether "TdwConfig.unreadable" holds what has not been looked at yet.
  bool setAside_ = false;
  /// What this process has chosen and written to the archive, and the file beside it that waits.
  base::Dictionary stored_;
  base::Dictionary kept_;
  std::string keptAs_;
  std::vector<std::string> reported_;
};

}  // namespace tidewell

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/core/TWConfigManager/ConfigRecord.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"

// Internal to the core: not installed.
namespace tidewell {

/// The archive file of the record, which other processes of the application read and write, too.
///
/// Nothing is overwritten that was not read: what cannot be decoded is moved to "TdwConfig.corrupt", what
/// cannot be read for a passing reason to "TdwConfig.unreadable". The opt-outs and the region of the latter
/// count again as soon as it can be read; then it goes to "TdwConfig.corrupt", too. Used by one thread at a
/// time. What went wrong is added to `reports`, to be told when no lock is held.
class ConfigArchive {
 public:
  using Reports = std::vector<std::string>;
  static constexpr std::string_view kFileName = "TdwConfig";
  static constexpr std::string_view kRecordClass = "TWConfig";

  /// The path of the archive in the SDK's directory (made where it is missing); nothing where there is none.
  [[nodiscard]] static std::optional<std::string> path();

  /// The record of the file. Nothing where there is no file, or none that can be read or decoded: a default
  /// record serves then.
  [[nodiscard]] std::optional<TWConfigFields> load(const std::optional<std::string>& path, Reports& reports);

  /// Writes the whole record, once. Before that it takes from the file what this process has not written
  /// itself: the region and the opt-outs, or everything where no load has succeeded yet. Raises where a field
  /// holds what an archive cannot carry; the file is untouched then. NO where the record did not get there
  /// for a reason that may pass.
  bool store(const std::optional<std::string>& path, ConfigRecord& record, Reports& reports);

 private:
  enum class Found { record, nothing, undecodable, unreadable };
  struct Content {
    Found found = Found::nothing;
    TWConfigFields fields;
    std::string reason;
  };
  [[nodiscard]] static Content read(const std::string& path);
  [[nodiscard]] Content readSetAside(const std::string& path) const;
  [[nodiscard]] bool keepAside(const std::string& path, const Content& content, Reports& reports);

  /// Whether the file is known: it was read, or there was none, or it was written.
  bool known_ = false;
  /// Whether "TdwConfig.unreadable" holds what has not been looked at yet.
  bool setAside_ = false;
};

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

class TWConfig;

enum class LintSeverity : std::uint8_t {
  note,     ///< worth knowing; devices behave as the reply says
  warning,  ///< devices probably do not behave as intended
  error,    ///< part or all of the configuration has no effect or does harm
};

/// One finding about a configuration: a rule, and the place where it applies.
///
/// A value; any thread. docs/configuration-linter.md lists all rules.
class TIDEWELL_EXPORT LintFinding {
 public:
  [[nodiscard]] LintSeverity severity() const noexcept;
  /// The rule's name, such as "merge-stops". Names do not change within a major version.
  [[nodiscard]] std::string_view rule() const noexcept;
  /// The key of the configuration; empty if the finding is about the whole reply. Text from the reply, cut to
  /// `LintReport::kMaximumKeyBytes`; it may hold control characters.
  [[nodiscard]] std::string_view key() const noexcept;
  /// A JSON pointer (RFC 6901) to the value, such as "/b_e/3", with the key cut as above; empty for the whole
  /// reply.
  [[nodiscard]] std::string_view pointer() const noexcept;
  /// Counted from 1; 0 if there is no place, as for a missing key. Columns count characters.
  [[nodiscard]] std::size_t line() const noexcept;
  [[nodiscard]] std::size_t column() const noexcept;
  /// How devices treat the value. Free of control characters.
  [[nodiscard]] std::string_view sentence() const noexcept;
  /// How to correct it.
  [[nodiscard]] std::string_view advice() const noexcept;

  /// The finding for JSON: "severity" ("note", "warning", "error"), "rule", "key", "pointer", "line",
  /// "column", "sentence", "advice". All are present; later versions may add keys.
  [[nodiscard]] base::Dictionary dictionary() const;

 private:
  friend class Linter;
  struct State;
  explicit LintFinding(std::shared_ptr<const State> state);
  std::shared_ptr<const State> state_;
};

/// The result of `lintConfiguration`. A value; any thread.
class TIDEWELL_EXPORT LintReport {
 public:
  /// The most findings reported for one rule; the others are only counted.
  static constexpr std::size_t kMaximumFindingsPerRule = 50;
  static constexpr std::size_t kMaximumKeyBytes = 256;

  /// In the order of the text; those without a place come last.
  [[nodiscard]] std::vector<LintFinding> findings() const;
  /// The number of findings beyond the limit per rule.
  [[nodiscard]] std::size_t omittedFindings() const noexcept;
  /// The highest severity; no value without findings.
  [[nodiscard]] std::optional<LintSeverity> worst() const noexcept;

  [[nodiscard]] std::size_t replyBytes() const noexcept;
  /// The size of the archive of a record of defaults after merging the reply; 0 if it cannot be merged.
  [[nodiscard]] std::size_t archiveBytes() const noexcept;
  /// An estimate of the memory that answers to queries need in addition to the record; 0 as above.
  [[nodiscard]] std::size_t compiledBytes() const noexcept;

  /// The report for JSON: "findings" (a list of `LintFinding::dictionary`), "omittedFindings", "replyBytes",
  /// "archiveBytes", "compiledBytes". Later versions may add keys.
  [[nodiscard]] base::Dictionary dictionary() const;

 private:
  friend class Linter;
  struct State;
  explicit LintReport(std::shared_ptr<const State> state);
  std::shared_ptr<const State> state_;
};

/// Predicts what devices would do with a reply of the configuration service: a JSON text.
///
/// Runs the merge, the limits and the expression compiler that devices run, without changing any record, file
/// or log. The bytes may be hostile: time and memory are bounded. Any thread; needs no platform. Throws only
/// `std::bad_alloc`.
[[nodiscard]] TIDEWELL_EXPORT LintReport lintConfiguration(std::string_view reply);

enum class ConfigurationChangeKind : std::uint8_t {
  gate,          ///< the answer of a gate
  value,         ///< a status, a number, the token, or a value of a wrong type
  entryAdded,    ///< to a list
  entryRemoved,  ///< from a list
};

/// One difference that a reply would make to a record. A value; any thread.
class TIDEWELL_EXPORT ConfigurationChange {
 public:
  [[nodiscard]] ConfigurationChangeKind kind() const noexcept;
  /// The name of the gate's operation, such as "isAccountActive", or the key of the configuration.
  [[nodiscard]] std::string_view name() const noexcept;
  /// nil for an added entry. For a gate whose status is not a string, its answer.
  [[nodiscard]] base::Value before() const;
  /// nil for a removed entry.
  [[nodiscard]] base::Value after() const;

  /// The change for JSON: "kind" ("gate", "value", "entryAdded", "entryRemoved"), "name", "before", "after";
  /// null for nil, a text for a value that JSON cannot represent. Later versions may add keys.
  [[nodiscard]] base::Dictionary dictionary() const;

 private:
  friend class ConfigurationComparison;
  struct State;
  explicit ConfigurationChange(std::shared_ptr<const State> state);
  std::shared_ptr<const State> state_;
};

/// The changes that a reply would make to a record: first the gates, then the values and lists in the order
/// of merging. Modifies neither. A reply that is not JSON counts as an empty one, as on devices. Bounded like
/// the linter; any thread.
[[nodiscard]] TIDEWELL_EXPORT std::vector<ConfigurationChange> configurationChanges(std::string_view reply,
                                                                                    const TWConfig& record);

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "tidewell/base/Date.h"
#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"

namespace tidewell {

class TWConfig;

/// The origin of a value of the record.
enum class ValueOrigin : std::uint8_t {
  unknown,            ///< the file of origins is missing, or it does not explain the value
  nothingDownloaded,  ///< the default: no reply has been merged yet
  leftOut,            ///< the default: the last reply had no such key, or null
  lastReply,
  beforeLastReply,  ///< the last reply did not reach the key, or its value was too large
  device,           ///< set on the device
  notSetOnDevice,   ///< the default of a region or an opt-out
  earlierVersion,   ///< the archive of a version that kept no origins
};

/// The result of one step of an explanation.
enum class StepOutcome : std::uint8_t {
  passes,        ///< the next step follows
  refuses,       ///< the answer of a gate is false
  raises,        ///< a value of a wrong class
  matches,       ///< the answer is true
  differs,       ///< the next step follows
  notEvaluated,  ///< an expression that costs too much; counts as no match
};

/// One step of an explanation: a value that was examined, and the outcome. A value; any thread.
class TIDEWELL_EXPORT ExplanationStep {
 public:
  /// The key of the value in the configuration; empty for a step that examines the argument of the question.
  [[nodiscard]] std::string_view key() const noexcept;
  /// The index in the list, if the step examines an entry.
  [[nodiscard]] std::optional<std::size_t> entry() const noexcept;
  [[nodiscard]] base::Value value() const;
  [[nodiscard]] ValueOrigin origin() const noexcept;
  /// When the reply was merged, or the value set on the device; no value for other origins.
  [[nodiscard]] std::optional<base::Date> originTime() const noexcept;
  [[nodiscard]] StepOutcome outcome() const noexcept;
  /// Whether this step decided the answer. At most one does; if none did, all checks have passed.
  [[nodiscard]] bool decides() const noexcept;

  /// The step for JSON: "key", "entry" (if any), "value" (a text if JSON has no such value), "origin"
  /// ("unknown", "nothing-downloaded", "left-out", "last-reply", "before-last-reply", "device",
  /// "not-set-on-device", "earlier-version"), "originTime" (if any, as `base::Date::description`), "outcome"
  /// ("passes", "refuses", "raises", "matches", "differs", "not-evaluated"), "decides". Later versions may
  /// add keys.
  [[nodiscard]] base::Dictionary dictionary() const;

 private:
  friend class Explainer;
  struct State;
  explicit ExplanationStep(std::shared_ptr<const State> state);
  std::shared_ptr<const State> state_;
};

/// The answer to a question to `TWConfigManager`, and the steps in the order in which they were taken. A
/// value; any thread.
class TIDEWELL_EXPORT Explanation {
 public:
  enum class Answer : std::uint8_t { no, yes, raises };
  /// The most steps kept, not counting the one that decides.
  static constexpr std::size_t kMaximumSteps = 200;

  /// The name of the operation, such as "isGeofenceServiceActive".
  [[nodiscard]] std::string_view question() const noexcept;
  /// What the operation returns; `raises` only for an invalid expression for restricted unique IDs.
  [[nodiscard]] Answer answer() const noexcept;
  [[nodiscard]] std::vector<ExplanationStep> steps() const;
  [[nodiscard]] std::size_t omittedSteps() const noexcept;

  /// The explanation for JSON: "question", "answer" ("no", "yes", "raises"), "steps" (a list of
  /// `ExplanationStep::dictionary`), "omittedSteps". Later versions may add keys.
  [[nodiscard]] base::Dictionary dictionary() const;

 private:
  friend class Explainer;
  struct State;
  explicit Explanation(std::shared_ptr<const State> state);
  std::shared_ptr<const State> state_;
};

/// The file beside the archive that holds the origins of values: the last reply (at most
/// `kMaximumKeptReplyBytes`, otherwise its keys and types) and the times of changes on the device.
inline constexpr std::string_view kConfigOriginsFileName = "TdwOrigins";
inline constexpr std::size_t kMaximumKeptReplyBytes = 256u << 10;

/// The questions that can be explained: the gates, "isEventBlackListed", "isEventInstantFlushEvent",
/// "isEventWhitelistedEvent" and "isUniqueIDRestricted".
[[nodiscard]] TIDEWELL_EXPORT std::vector<std::string_view> explainedQuestions();

/// Explains the answer that a manager with this record would give; for tools that read the files of another
/// process. `argument` is the name of an event or a unique ID; gates ignore it. `originsFile` holds the bytes
/// of the file of origins; without one, origins are unknown. The bytes may be hostile. No value for an
/// unknown question. Logs nothing; throws only `std::bad_alloc`. Any thread.
[[nodiscard]] TIDEWELL_EXPORT std::optional<Explanation> explanationOf(
    std::string_view question, std::optional<std::string_view> argument, const TWConfig& record,
    std::optional<std::string_view> originsFile = std::nullopt);

/// The origin of each value of a record, by key: dictionaries with "origin" and "originTime" as in
/// `ExplanationStep::dictionary`.
[[nodiscard]] TIDEWELL_EXPORT base::Dictionary originsOf(
    const TWConfig& record, std::optional<std::string_view> originsFile = std::nullopt);

}  // namespace tidewell

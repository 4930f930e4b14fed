// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWConfigManager/Explanation.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"

namespace tidewell {

struct CompiledConfig;
struct ConfigMerge;
class ConfigRecord;
struct LateInstallation;

/// Decides whether a download is due, and owns the record from which every gate is answered.
///
/// One instance per process, created on first use and never destroyed. Queries may come from any thread and
/// never wait: they read the most recently published snapshot. Writers are serialised; a setter returns after
/// writing the archive. If writing fails, the log says why, and the change is written at the next
/// opportunity; while another process holds the archive's lock, it is stored in a file beside the archive.
class TIDEWELL_EXPORT TWConfigManager final {
 public:
  /// Inline, because a second call into the library would take as long as a gate query itself. The first call
  /// throws `std::bad_alloc` if there is no memory for the record; a later call then loads it. Before a
  /// platform is installed the record has its defaults; the installation loads the archive.
  [[nodiscard]] static TWConfigManager& sharedInstance() {
    // Pairs with the store in `makeSharedInstance`: the instance is constructed.
    if (TWConfigManager* const made = shared_.load(std::memory_order_acquire)) [[likely]]
      return *made;
    return makeSharedInstance();
  }
  /// Loads the record from its archive, or creates one of defaults. From a corrupt or oversized archive,
  /// loads what is readable, and logs that. An archive without readable values counts as missing and is
  /// renamed to "TdwConfig.corrupt".
  TWConfigManager();
  ~TWConfigManager();
  TWConfigManager(const TWConfigManager&) = delete;
  TWConfigManager& operator=(const TWConfigManager&) = delete;

  /// The current record; null only after `setTdwConfig(nullptr)`, until the next merge or setter. Changes
  /// made through it affect the next query.
  [[nodiscard]] std::shared_ptr<TWConfig> tdwConfig() const;
  /// Replaces the record. Every value counts as written by this process, so no other process's file overrides
  /// it. Null removes the record until the next merge or setter, which loads the archive again; until then
  /// queries use a record without values.
  void setTdwConfig(std::shared_ptr<TWConfig> config);

  /// The path of the archive; no value if there is no library directory.
  [[nodiscard]] std::optional<std::string> getFilePathForConfig() const;
  /// Whether at least 3600 s have passed since the last successful download, or none is recorded. A recorded
  /// time in the future counts as recent; an entry that is not a date counts as none. Reads the user
  /// defaults.
  [[nodiscard]] bool shouldSyncConfig() const;
  /// Merges a reply: an absent or null key resets its property to its default. The region and the opt-outs
  /// stay.
  ///
  /// Rejects, with a log line, a list of more than 2,048 elements or 64 KiB of text (restricted IDs: 10,240
  /// elements or 512 KiB), and any other value of more than 256 elements or 16 KiB; the property keeps its
  /// value. (Restricted IDs have no list at all if none was merged before.)
  ///
  /// Writes the archive and logs the service status. Stops at the first value that cannot be merged: logs
  /// line 118 and does not write the archive.
  void updateConfigFromResponse(const base::Value& response);
  void setDataRedirectionRegion(TWDataRegion region);
  [[nodiscard]] TWDataRegion getDataRedirectionRegion() const;

  // Gates. All but the first return false while the account is blocked.
  [[nodiscard]] bool isAccountActive() const;
  [[nodiscard]] bool isInAppServiceActive() const;
  [[nodiscard]] bool isGeofenceServiceActive() const;
  [[nodiscard]] bool isInboxServiceActive() const;
  [[nodiscard]] bool isLogentriesEnabled() const;
  [[nodiscard]] bool isPeriodicSyncEnabled() const;
  [[nodiscard]] bool isDeviceTriggerEnabled() const;
  [[nodiscard]] bool isDataTrackingEnabled() const;
  [[nodiscard]] bool isUserPushEnabled() const;
  [[nodiscard]] bool isUserInAppEnabled() const;
  /// The answer of the shared instance's gate with this number, in the order above; for bindings to other
  /// languages. False for any other number, and if there is no memory for the instance.
  [[nodiscard]] static bool answerOfGate(std::uint32_t number) noexcept;

  // Event lists. False for no value and the empty name. (By reference: an optional view does not fit into
  // registers, and copying it to the stack would take longer than the rest of the query.)
  [[nodiscard]] bool isEventBlackListed(const std::optional<std::string_view>& eventName) const;
  [[nodiscard]] bool isEventInstantFlushEvent(const std::optional<std::string_view>& eventName) const;
  [[nodiscard]] bool isEventWhitelistedEvent(const std::optional<std::string_view>& eventName) const;

  // The record's values, of whatever class; nil if not set.
  [[nodiscard]] base::Value getBlackListedEvents() const;
  [[nodiscard]] base::Value getInstantFlushEvents() const;
  [[nodiscard]] base::Value getWhitelistedEvents() const;
  /// The empty array if not set.
  [[nodiscard]] base::Value getSourceExtraKeys() const;
  /// The empty array if not set.
  [[nodiscard]] base::Value getRestrictedUniqueIDRegex() const;
  [[nodiscard]] base::Value getLogEntriesToken() const;

  // Whole seconds; the default if the record holds 0.
  [[nodiscard]] std::int64_t getInboxDefaultExpiry() const;
  [[nodiscard]] std::int64_t getPeriodicSyncDuration() const;
  [[nodiscard]] std::int64_t getRealTimeTriggerSyncInterval() const;
  [[nodiscard]] std::int64_t getUserAttributeCachingDuration() const;
  [[nodiscard]] std::int64_t getSessionInActiveDuration() const;
  /// Events per batch, as stored; 0 stays 0.
  [[nodiscard]] std::int64_t getEventBatchCount() const;

  /// Whether an expression of the configuration matches the whole identifier; an absent identifier counts as
  /// restricted. An expression that costs too much to evaluate counts as no match and is logged. Raises for
  /// an invalid expression that precedes the first match.
  [[nodiscard]] bool isUniqueIDRestricted(std::optional<std::string_view> uniqueID) const;
  /// The same for hosts without exceptions: returns `invalidExpression` for an invalid expression and stores
  /// the reason, if `reason` is given.
  enum class Restriction { unrestricted, restricted, invalidExpression };
  [[nodiscard]] Restriction restrictionOfUniqueID(std::optional<std::string_view> uniqueID,
                                                  std::string* reason = nullptr) const noexcept;

  /// Explains step by step what a gate, a query of an event list, or `isUniqueIDRestricted` returns now: the
  /// values that it examines, their origins, and the step that decides. `question` is the name of the
  /// operation (see `explainedQuestions`), `argument` its argument. No value for an unknown name.
  ///
  /// Computed by this call, which may wait for a write of the archive and reads the file of origins once.
  /// Logs nothing.
  [[nodiscard]] std::optional<Explanation> explanation(
      std::string_view question, std::optional<std::string_view> argument = std::nullopt) const;

  void setDataTrackingOptedOut(bool optedOut);
  void setUserPushNotificationOptedOut(bool optedOut);
  void setUserInAppNotificationOptedOut(bool optedOut);

  void printCurrentServicesStatus() const;

 private:
  friend struct ConfigMerge;
  friend struct LateInstallation;
  struct State;
  /// Selects the constructor that defers reports from loading.
  enum class Quietly { yes };
  explicit TWConfigManager(Quietly);
  [[nodiscard]] static TWConfigManager& makeSharedInstance();
  [[nodiscard]] static bool answerOfGateSlowly(std::uint32_t number) noexcept;
  static ConfigRecord& recordOf(const TWConfig& config);

  /// Null until created.
  static std::atomic<TWConfigManager*> shared_;

  // Read by queries; written when a record is published.
  std::atomic<std::uint32_t> gates_{0};
  std::atomic<const CompiledConfig*> current_{nullptr};
  std::unique_ptr<State> state_;
};

}  // namespace tidewell

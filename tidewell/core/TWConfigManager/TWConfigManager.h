#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"

namespace tidewell {

struct CompiledConfig;
class ConfigRecord;

/// Decides whether a download is due and keeps the record that answers every gate.
///
/// One instance a process, made on first use and never destroyed. Questions may come from any thread and
/// never wait: they read what was published last. Writers are serialised; a setter has written the archive
/// when it returns. Where it could not, the line says why, and the change is written at the next occasion;
/// while another process holds the archive's lock it waits in a file beside it.
class TIDEWELL_EXPORT TWConfigManager final {
 public:
  /// Inline: a second call into the library would take as long as a gate question itself. The first call
  /// throws `std::bad_alloc` where there is no memory for the record; a later one then loads it.
  [[nodiscard]] static TWConfigManager& sharedInstance() {
    if (TWConfigManager* const made = shared_.load(std::memory_order_acquire)) [[likely]]
      return *made;
    return makeSharedInstance();
  }
  /// Loads the record from its archive, or makes one of defaults. Of an archive that is broken or too large
  /// what can be read counts, and that is logged. One of which nothing can be read counts as missing and is
  /// kept aside as "TdwConfig.corrupt".
  TWConfigManager();
  ~TWConfigManager();
  TWConfigManager(const TWConfigManager&) = delete;
  TWConfigManager& operator=(const TWConfigManager&) = delete;

  /// The record in force; null only after `setTdwConfig(nullptr)`, until the next merge or setter. What is
  /// set through it is seen by the next question.
  [[nodiscard]] std::shared_ptr<TWConfig> tdwConfig() const;
  /// Every value of the record counts as written by this process: no other process's file displaces it. A
  /// null pointer puts nothing in force until the next merge or setter, which loads the archive anew;
  /// questions answer as from a record without values.
  void setTdwConfig(std::shared_ptr<TWConfig> config);

  /// The path of the archive. nil where the machine has no library directory.
  [[nodiscard]] std::optional<std::string> getFilePathForConfig() const;
  /// Whether at least 3600 s have passed since the last successful download, or none is known. A recorded
  /// time in the future counts as recent; an entry that is not a date counts as none. Reads the user
  /// defaults.
  [[nodiscard]] bool shouldSyncConfig() const;
  /// Merges a reply: a key that is absent or null resets its property to its default. The region and the
  /// opt-outs stay. A list of more than 2,048 elements or 64 KiB of text (of restricted IDs: 10,240 elements
  /// or 512 KiB), and any other value of more than 256 elements or 16 KiB, is not taken: the property stays
  /// as it was, and that is logged. (For the restricted IDs that is no list at all where none was merged
  /// before.) Writes the archive and logs the service status. Stops at the first value that cannot be merged:
  /// line 118, nothing written.
  void updateConfigFromResponse(const base::Value& response);
  void setDataRedirectionRegion(TWDataRegion region);
  [[nodiscard]] TWDataRegion getDataRedirectionRegion() const;

  // Gates. Every one but the first answers NO while the account is blocked.
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

  // Event lists. nothing and the empty name answer NO. (By reference: an optional view does not fit into
  // registers, and putting a copy on the stack takes longer than all the rest.)
  [[nodiscard]] bool isEventBlackListed(const std::optional<std::string_view>& eventName) const;
  [[nodiscard]] bool isEventInstantFlushEvent(const std::optional<std::string_view>& eventName) const;
  [[nodiscard]] bool isEventWhitelistedEvent(const std::optional<std::string_view>& eventName) const;

  // What the record holds, whatever its class; nil where it holds nothing.
  [[nodiscard]] base::Value getBlackListedEvents() const;
  [[nodiscard]] base::Value getInstantFlushEvents() const;
  [[nodiscard]] base::Value getWhitelistedEvents() const;
  /// The empty array where the record holds nothing.
  [[nodiscard]] base::Value getSourceExtraKeys() const;
  /// The empty array where the record holds nothing.
  [[nodiscard]] base::Value getRestrictedUniqueIDRegex() const;
  [[nodiscard]] base::Value getLogEntriesToken() const;

  // Whole seconds; the default where the record holds 0.
  [[nodiscard]] std::int64_t getInboxDefaultExpiry() const;
  [[nodiscard]] std::int64_t getPeriodicSyncDuration() const;
  [[nodiscard]] std::int64_t getRealTimeTriggerSyncInterval() const;
  [[nodiscard]] std::int64_t getUserAttributeCachingDuration() const;
  [[nodiscard]] std::int64_t getSessionInActiveDuration() const;
  /// Events a batch, as stored: 0 stays 0.
  [[nodiscard]] std::int64_t getEventBatchCount() const;

  /// Whether an expression of the configuration matches the whole identifier; an absent one is restricted.
  /// One that costs too much to evaluate counts as no match and is named in the log. Raises for an invalid
  /// expression that is reached before one that matches.
  [[nodiscard]] bool isUniqueIDRestricted(std::optional<std::string_view> uniqueID) const;
  /// The same question for hosts without exceptions: an invalid expression answers `invalidExpression` and
  /// fills `reason` where one is given.
  enum class Restriction { unrestricted, restricted, invalidExpression };
  [[nodiscard]] Restriction restrictionOfUniqueID(std::optional<std::string_view> uniqueID,
                                                  std::string* reason = nullptr) const noexcept;

  void setDataTrackingOptedOut(bool optedOut);
  void setUserPushNotificationOptedOut(bool optedOut);
  void setUserInAppNotificationOptedOut(bool optedOut);

  void printCurrentServicesStatus() const;

 private:
  struct State;
  /// Makes a manager that keeps to itself what there is to say about loading.
  enum class Quietly { yes };
  explicit TWConfigManager(Quietly);
  [[nodiscard]] static TWConfigManager& makeSharedInstance();
  static ConfigRecord& recordOf(const TWConfig& config);

  /// null until it is made.
  static std::atomic<TWConfigManager*> shared_;

  // What questions read: written when a record is published.
  std::atomic<std::uint32_t> gates_{0};
  std::atomic<const CompiledConfig*> current_{nullptr};
  std::unique_ptr<State> state_;
};

}  // namespace tidewell

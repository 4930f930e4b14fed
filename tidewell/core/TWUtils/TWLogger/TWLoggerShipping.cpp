// SPDX-License-Identifier: Apache-2.0
// Sends log lines to the log service.

#include "tidewell/core/TWUtils/TWLogger/internal/LogShipping.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/TWUtils/TWLogger/internal/LogShipper.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/foundation/TWDateUtils.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/Platform.h"

namespace tidewell {
namespace {

constinit std::atomic<std::size_t> linesInFlight{0};
constinit std::atomic<std::size_t> bytesInFlight{0};

/// Adds to a counter unless the sum would exceed the bound.
bool reserve(std::atomic<std::size_t>& counter, std::size_t amount, std::size_t bound) {
  std::size_t current = counter.load(std::memory_order_relaxed);
  do {
    if (amount > bound || current > bound - amount) return false;
  } while (!counter.compare_exchange_weak(current, current + amount, std::memory_order_relaxed));
  return true;
}

/// One line's share of the limits, returned when its request has completed or can no longer complete.
class ShippingSlot {
 public:
  /// Null if a limit is reached.
  static std::shared_ptr<const ShippingSlot> take(std::size_t bytes) {
    const auto slot = std::make_shared<ShippingSlot>();  // first: reservations are returned in any case
    if (!reserve(linesInFlight, 1, TWLogger::kMaximumShippedLines)) return nullptr;
    slot->lines_ = 1;
    if (!reserve(bytesInFlight, bytes, TWLogger::kMaximumShippedBytes)) return nullptr;
    slot->bytes_ = bytes;
    return slot;
  }

  ShippingSlot() = default;
  ~ShippingSlot() {
    bytesInFlight.fetch_sub(bytes_, std::memory_order_relaxed);
    linesInFlight.fetch_sub(lines_, std::memory_order_relaxed);
  }
  ShippingSlot(const ShippingSlot&) = delete;
  ShippingSlot& operator=(const ShippingSlot&) = delete;

 private:
  std::size_t lines_ = 0;
  std::size_t bytes_ = 0;
};

std::size_t byteCount(const base::Value& text) { return text.string() ? text.string()->size() : 0; }

void logFailedSync() { logLine("Logentries failed to sync"); }

std::optional<std::string> tokenPathComponent() {
  const base::Value token = TWConfigManager::sharedInstance().getLogEntriesToken();
  (void)token.length();  // raises if the server's value is not text
  return token.optionalString();
}

constexpr LogShipper kLogServiceShipper{[] {
                                          return TWConfigManager::sharedInstance().isLogentriesEnabled() &&
                                                 platform::networkAccess(platform::Platform::current()) ==
                                                     platform::NetworkAccess::allowed;
                                        },
                                        &TWLogger::sendLogToLogEntries};

}  // namespace

void registerLogShipping() noexcept { setLogShipper(kLogServiceShipper); }

void TWLogger::sendLogToLogEntries(const base::Value& message, const base::Value& andTraceBack,
                                   const base::Value& andLevel) {
  static constexpr LogCoordinates kWhere{"TWLogger", 209, "sendLogToLogEntries:andTraceBack:andLevel:",
                                         "Exception Config API : %@", TWLogSeverityError};
  guarded(kWhere, [&] {
    const base::Value uniqueId = TWCoreUtils::getSDKUniqueIdForUser();
    const base::Value appId = TWCoreUtils::getTidewellAppId();
    const base::Value sdkVersion = TWCoreUtils::getTidewellSDKVersion();
    if (appId.length() == 0) {
      logLine("App ID is missing in the initialize call");
      return;
    }
    auto slot = ShippingSlot::take(byteCount(message) + byteCount(andTraceBack));
    if (!slot) {
      logFailedSync();
      return;
    }

    base::Dictionary payload;
    payload.reserve(7);
    setObjectNilHandled(payload, appId, "appid");
    setObjectNilHandled(payload, uniqueId, "uid");
    setObjectNilHandled(payload, andLevel, "lvl");
    setObjectNilHandled(payload, andTraceBack, "tb");
    setObjectNilHandled(payload, sdkVersion, "sdk_ver");
    setObjectNilHandled(payload, message, "msg");
    setObjectNilHandled(payload, TWDateUtils::getGMTtime(), "tm_s");

    const TWNetworkRequest request(TWServiceSendLogs, std::nullopt, std::nullopt, std::move(payload),
                                   tokenPathComponent());
    request.executeRequestWithCompletionBlock([slot = std::move(slot)](bool success, const base::Value&) {
      if (!success) logFailedSync();
    });
  });
}

}  // namespace tidewell

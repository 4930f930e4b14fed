#pragma once

namespace tidewell {

/// Makes the log service the logger's shipper, enabled while the configuration says so. Any thread, any
/// number of times.
void registerLogShipping() noexcept;

}  // namespace tidewell

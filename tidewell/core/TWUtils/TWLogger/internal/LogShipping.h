// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace tidewell {

/// Makes the log service the logger's shipper, enabled by the configuration. Any thread; may be called
/// repeatedly.
void registerLogShipping() noexcept;

}  // namespace tidewell

// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace facade {

/// Installs the platform of the process: user defaults, clock, log lines and notifications are Foundation's,
/// the main queue is drained by the main thread's run loop, the Info.plist values are the main bundle's, and
/// the rest is `posix`.
///
/// Called by `+initialize` of the facade's classes; later calls do nothing. A platform that the host has
/// installed before stays, and nothing is connected. Without a bundle identifier and a version in the main
/// bundle, logs the reason and installs none. Any thread; never raises.
void installPlatform() noexcept;

}  // namespace facade

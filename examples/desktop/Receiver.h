// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// Simulates another application: shows the link that it was started with, and records it for the tour in a
/// file in the folder TIDEWELL_DEMO_RECORDS. Runs until its window is closed.
int runReceiver(const std::string& name, const std::string& link);

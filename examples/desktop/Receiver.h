#pragma once

#include <string>

/// Plays another application of the desktop: shows the link that it was started with, and leaves it in a file
/// of its own in the folder TIDEWELL_DEMO_RECORDS, for the tour. Runs until its window is closed.
int runReceiver(const std::string& name, const std::string& link);

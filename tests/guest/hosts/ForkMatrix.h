#pragma once

#include <string>

namespace tidewell::guest {

/// Every operation in the child of a fork, beside every operation in another thread of its parent: "SECONDS
/// SEED [PARENT/CHILD]"; without seconds all pairs once. Each pair has a process of its own, so that first
/// uses are among the instants; the calling one must have none of the library's threads. Prints each pair
/// whose child does not end well, and ends the program then. Returns how many pairs there were.
std::string forkMatrix(const std::string& arguments);

}  // namespace tidewell::guest

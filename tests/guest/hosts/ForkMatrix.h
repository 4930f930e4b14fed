// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tidewell::guest {

/// Runs every operation in a forked child while another thread of the parent runs every operation: "SECONDS
/// SEED [PARENT/CHILD]"; without seconds, all pairs once. Each pair runs in a new process, so that first uses
/// are covered; the caller must not have started any thread of the library. Prints each pair whose child
/// fails and exits at the end if there was one. Returns the number of pairs.
std::string forkMatrix(const std::string& arguments);

}  // namespace tidewell::guest

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tools/CommandLine.h"

// The commands of the program `tidewell`, one file each. A function adds a command with its options.
namespace tidewell::tool {

inline constexpr int kSuccess = 0;
inline constexpr int kFound = 1;   ///< findings, differences, a request that failed
inline constexpr int kFailed = 2;  ///< wrong usage, or input that cannot be read

/// Adds a command whose options `addOptions` adds to its variables. `Variables` is copyable.
template <class Variables>
void addCommand(tools::Command to, const char* name, const char* description,
                int (*command)(const Variables& variables),
                void (*addOptions)(tools::Command to, Variables& variables)) {
  tools::Command added = to.add(name, description);
  const auto variables = std::make_shared<Variables>();
  addOptions(added, *variables);
  added.runs([command, variables] { return command(*variables); });
}

void addArchive(tools::Command program);
void addErase(tools::Command program);
void addFetch(tools::Command program);
void addInspect(tools::Command program);  // and `explain`
void addLint(tools::Command program);     // and `diff`

}  // namespace tidewell::tool

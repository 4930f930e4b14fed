// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>

// The commands of the program `tidewell`, one file each. A function adds the command's options to the command
// line, and the function to run if the command is chosen.
namespace tidewell::tool {

inline constexpr int kSuccess = 0;
inline constexpr int kFound = 1;   ///< findings, differences, a request that failed
inline constexpr int kFailed = 2;  ///< wrong usage, or input that cannot be read

struct CommandLine {
  CLI::App app;
  std::function<int()> run;  ///< set by the chosen command; returns the exit status

  /// Adds a command whose options `addOptions` adds to its variables. `Variables` is copyable.
  template <class Variables>
  CLI::App& add(CLI::App& to, const char* name, const char* description,
                int (*command)(const Variables& variables),
                void (*addOptions)(CLI::App& to, Variables& variables)) {
    CLI::App& added = *to.add_subcommand(name, description);
    const auto variables = std::make_shared<Variables>();
    addOptions(added, *variables);
    added.callback([this, command, variables] { run = [=] { return command(*variables); }; });
    return added;
  }
};

void addArchive(CommandLine& line);
void addErase(CommandLine& line);
void addFetch(CommandLine& line);
void addInspect(CommandLine& line);  // and `explain`
void addLint(CommandLine& line);     // and `diff`

}  // namespace tidewell::tool

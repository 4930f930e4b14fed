// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tools/CommandLine.h"

namespace tidewell::tools {

/// The manual page ("man") of a program, or its completions for a shell ("bash", "zsh", "fish"), made from
/// the options and commands of `app`.
[[nodiscard]] std::string page(const CLI::App& app, const ManualText& text, const std::string& kind);

}  // namespace tidewell::tools

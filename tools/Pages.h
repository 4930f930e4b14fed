// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace tidewell::tools {

/// The parts of a manual page besides name, description and options.
struct ManualText {
  std::string summary;                                        ///< the line of NAME, after the program's name
  std::vector<std::pair<std::string, std::string>> sections;  ///< heading and text, after OPTIONS
};

/// Adds the hidden option `--print-page man|bash|zsh|fish`: it prints the manual page or the completions of a
/// shell, made from the options of `app`, and ends the parse with `CLI::Success`. Call it last; `app` must
/// outlive the parse.
void addPages(CLI::App& app, ManualText text);

}  // namespace tidewell::tools

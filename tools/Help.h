// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <sstream>
#include <string>

namespace tidewell::tools {

/// Formats the help of a command line for a terminal of 80 columns.
class Help : public CLI::Formatter {
 public:
  Help() { column_width(kColumn); }

  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapped(option->get_description(), kWidth - kColumn);
  }
  std::string make_subcommand(const CLI::App* command) const override {
    std::stringstream out;
    CLI::detail::format_help(out, command->get_display_name(true),
                             wrapped(firstSentence(command->get_description()), kWidth - kColumn), kColumn);
    return out.str();
  }
  std::string make_description(const CLI::App* app) const override {
    return wrapped(app->get_description(), kWidth) + "\n";
  }
  std::string make_footer(const CLI::App* app) const override {
    return wrapped(app->get_footer(), kWidth) + (app->get_footer().empty() ? "" : "\n");
  }

 private:
  static constexpr std::size_t kColumn = 30;
  static constexpr std::size_t kWidth = 80;

  static std::string firstSentence(const std::string& text) { return text.substr(0, text.find(". ")); }

  static std::string wrapped(const std::string& text, std::size_t width) {
    std::istringstream words(text);
    std::string result, word;
    std::size_t column = 0;
    while (words >> word) {
      if (column != 0 && column + 1 + word.size() > width) {
        result += '\n';
        column = 0;
      }
      if (column != 0) result += ' ';
      column += word.size() + (column == 0 ? 0 : 1);
      result += word;
    }
    return result;
  }
};

}  // namespace tidewell::tools

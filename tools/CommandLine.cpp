// SPDX-License-Identifier: Apache-2.0
#include "tools/CommandLine.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>
#include <utility>

#include "tools/Pages.h"

namespace tidewell::tools {
namespace {

/// Formats the help for a terminal of 80 columns.
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

template <class Variable>
CLI::Option* addScalar(CLI::App& app, const char* name, Variable& variable, const std::string& description) {
  return app.add_option(name, variable, description)->capture_default_str();
}

}  // namespace

Option Option::required() {
  option_->required();
  return *this;
}
Option Option::value(const char* name) {
  option_->type_name(name);
  return *this;
}
Option Option::oneOf(const std::vector<std::string>& values) {
  option_->check(CLI::IsMember(values));
  return *this;
}
Option Option::existingFile() {
  option_->check(CLI::ExistingFile);
  return *this;
}
Option Option::excludes(Option other) {
  option_->excludes(other.option_);
  return *this;
}
Option Option::shownDefault(const char* text) {
  option_->default_str(text);
  return *this;
}

Command Command::add(const char* name, const char* description) {
  app_->require_subcommand(1);
  return {app_->add_subcommand(name, description), chosen_};
}
Option Command::option(const char* name, std::string& variable, const std::string& description) {
  return Option(addScalar(*app_, name, variable, description));
}
Option Command::option(const char* name, std::uint16_t& variable, const std::string& description) {
  return Option(addScalar(*app_, name, variable, description));
}
Option Command::option(const char* name, std::vector<std::string>& variable, const std::string& description) {
  CLI::Option* const option = app_->add_option(name, variable, description);
  if (!option->get_positional()) option->allow_extra_args(false);  // one value each time
  return Option(option);
}
void Command::flag(const char* name, bool& variable, const std::string& description) {
  app_->add_flag(name, variable, description);
}
void Command::runs(std::function<int()> function) {
  app_->callback([chosen = chosen_, function = std::move(function)] { *chosen = function; });
}

CommandLine::CommandLine(const char* name, const char* description)
    : CommandLine(std::make_unique<CLI::App>(description, name)) {}
CommandLine::CommandLine(std::unique_ptr<CLI::App> program)
    : Command(program.get(), &function_), program_(std::move(program)) {
  app_->formatter(std::make_shared<Help>());  // before the commands, which copy it
  app_->set_version_flag("--version", TIDEWELL_VERSION_STRING);
}
CommandLine::~CommandLine() = default;

void CommandLine::footer(const char* text) { app_->footer(text); }

void CommandLine::addPages(ManualText text) {
  app_->add_option_function<std::string>("--print-page",
                                         [app = app_, text = std::move(text)](const std::string& kind) {
                                           std::cout << page(*app, text, kind);
                                           throw CLI::Success();
                                         })
      ->group("")
      ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}));
}

std::optional<int> CommandLine::parse(int count, char** arguments) {
  try {
    app_->parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return app_->exit(error) == 0 ? 0 : kWrongUsage;
  }
  return std::nullopt;
}

}  // namespace tidewell::tools

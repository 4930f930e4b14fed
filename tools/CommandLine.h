// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// The command lines of the programs, read by CLI11. Its headers alone take a compiler ten seconds, so that
// only the sources of this folder include them. One thread.
namespace tidewell::tools {

/// An option, or a positional argument if its name has no dashes. Valid as long as its command line.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option required();
  /// What stands for the value in the help, such as "FILE".
  Option value(const char* name);
  Option oneOf(const std::vector<std::string>& values);
  Option existingFile();
  /// The two cannot be given together.
  Option excludes(Option other);
  /// Shown instead of the variable's initial value.
  Option shownDefault(const char* text);

 private:
  CLI::Option* option_;
};

/// A command: the program itself, or one of its commands. Valid as long as its command line. The variables of
/// its options must live until the parse has ended; their initial values are the defaults.
class Command {
 public:
  /// Adds a command, of which the user must then name one. The first sentence of `description` is its
  /// summary.
  Command add(const char* name, const char* description);
  Option option(const char* name, std::string& variable, const std::string& description);
  Option option(const char* name, std::uint16_t& variable, const std::string& description);
  /// May be given more than once.
  Option option(const char* name, std::vector<std::string>& variable, const std::string& description);
  void flag(const char* name, bool& variable, const std::string& description);
  /// What to do if the user names this command. Returns the exit status.
  void runs(std::function<int()> function);

 protected:
  Command(CLI::App* app, std::function<int()>* chosen) : app_(app), chosen_(chosen) {}
  CLI::App* app_;
  std::function<int()>* chosen_;  ///< gets the function of the command that the user named
};

/// The parts of a manual page besides name, description and options.
struct ManualText {
  std::string summary;                                        ///< the line of NAME, after the program's name
  std::vector<std::pair<std::string, std::string>> sections;  ///< heading and text, after OPTIONS
};

/// The command line of a program.
class CommandLine : public Command {
 public:
  static constexpr int kWrongUsage = 2;

  CommandLine(const char* name, const char* description);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  void footer(const char* text);
  /// Adds the hidden option `--print-page man|bash|zsh|fish`: it prints the manual page, or the completions
  /// of a shell, made from the options and commands added before or after.
  void addPages(ManualText text);

  /// Sets the variables. Returns the exit status if the program must end now: 0 after `--help`, `--version`
  /// and `--print-page`, `kWrongUsage` after a message to standard error.
  [[nodiscard]] std::optional<int> parse(int count, char** arguments);
  /// Runs the command that the user named. Call it after a successful parse of a line with commands.
  [[nodiscard]] int run() const { return function_(); }

 private:
  explicit CommandLine(std::unique_ptr<CLI::App> program);
  std::unique_ptr<CLI::App> program_;
  std::function<int()> function_;
};

}  // namespace tidewell::tools

// SPDX-License-Identifier: Apache-2.0
#include "tools/Pages.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tidewell::tools {
namespace {

/// One option as a page shows it.
struct Row {
  std::vector<std::string> names;  ///< with their dashes
  std::string value;               ///< the placeholder of its value; "" for a flag
  std::string description;         ///< one line
  std::string byDefault;
  bool repeated = false;
  [[nodiscard]] bool takesFile() const { return value == "FILE" || value == "PATH"; }
  [[nodiscard]] bool takesFolder() const { return value == "DIR"; }
};

std::string oneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

std::vector<Row> rowsOf(const CLI::App& app) {
  std::vector<Row> rows;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;  // hidden
    Row row;
    for (const auto& name : option->get_snames()) row.names.push_back("-" + name);
    for (const auto& name : option->get_lnames()) row.names.push_back("--" + name);
    if (row.names.empty()) continue;
    if (option->get_items_expected_max() > 0) {
      const std::string type = option->get_type_name();  // the type, and after a colon each check
      row.value = type.substr(type.rfind(':') + 1);
      row.repeated = option->get_expected_max() > 1;
    }
    row.description = oneLine(option->get_description());
    row.byDefault = option->get_default_str();
    rows.push_back(std::move(row));
  }
  return rows;
}

/// A command of a program with commands; the program itself has no path.
struct Command {
  std::string path;  ///< "archive show"
  const CLI::App* app;
};

void addCommands(const CLI::App& app, const std::string& path, std::vector<Command>& commands) {
  commands.push_back({path, &app});
  for (const CLI::App* each : app.get_subcommands({})) {
    addCommands(*each, path.empty() ? each->get_name() : path + " " + each->get_name(), commands);
  }
}

/// The program and its commands.
std::vector<Command> commandsOf(const CLI::App& app) {
  std::vector<Command> commands;
  addCommands(app, "", commands);
  return commands;
}

std::vector<std::string> namesOfCommandsIn(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* each : app.get_subcommands({})) names.push_back(each->get_name());
  return names;
}

/// The positional arguments of a command, as "FILE...".
std::string argumentsOf(const CLI::App& app) {
  std::string arguments;
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_positional()) continue;
    const std::string name = option->get_single_name();
    arguments += option->get_required() ? " " + name : " [" + name + "]";
    if (option->get_expected_max() > 1) arguments += "...";
  }
  return arguments;
}

/// The beginning of a description that fits a list of completions.
std::string_view brief(std::string_view text) {
  for (const std::string_view end : {"; ", " (", ", for "}) text = text.substr(0, text.find(end));
  return text;
}

std::string join(const std::vector<std::string>& parts, std::string_view between) {
  std::string joined;
  for (const auto& part : parts) joined.append(joined.empty() ? "" : between).append(part);
  return joined;
}

/// `text` with `before` in front of each of `special`.
std::string escaped(std::string_view text, std::string_view special, std::string_view before = "\\") {
  std::string out;
  for (const char c : text) {
    if (special.find(c) != special.npos) out += before;
    out += c;
  }
  return out;
}

/// Text for man(7): a backslash and a hyphen as such, and no line that begins like a request.
std::string roff(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) out += "\\&";
    out += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  }
  return out;
}

char upperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string manualOptions(const CLI::App& app) {
  std::string page;
  for (const Row& row : rowsOf(app)) {
    page += ".TP\n\\fB" + roff(join(row.names, ", ")) + "\\fR";
    if (!row.value.empty()) page += " \\fI" + roff(row.value) + "\\fR";
    std::string sentence = row.description;
    if (!sentence.empty()) sentence[0] = upperCase(sentence[0]);
    page += "\n" + roff(sentence) + ".";
    if (!row.byDefault.empty()) page += " Default: " + roff(row.byDefault) + ".";
    page += "\n";
  }
  return page;
}

std::string manual(const CLI::App& app, const ManualText& text) {
  const std::string name = app.get_name();
  std::string upper = name;
  std::transform(upper.begin(), upper.end(), upper.begin(), upperCase);
  std::string page = ".TH " + roff(upper) + " 1 \"\" \"Tidewell Core " TIDEWELL_VERSION_STRING "\"\n";
  page += ".SH NAME\n" + roff(name) + " \\- " + roff(text.summary) + "\n";
  const std::vector<Command> commands = commandsOf(app);
  page += ".SH SYNOPSIS\n.B " + roff(name) + "\n";
  page += commands.size() > 1 ? "\\fICOMMAND\\fR [\\fIOPTION\\fR]...\n" : "[\\fIOPTION\\fR]...\n";
  page += ".SH DESCRIPTION\n" + roff(oneLine(app.get_description())) + "\n.SH OPTIONS\n" + manualOptions(app);
  if (commands.size() > 1) page += ".SH COMMANDS\n";
  for (const Command& command : commands) {
    if (command.path.empty() || !namesOfCommandsIn(*command.app).empty()) continue;
    page += ".SS " + roff(command.path + argumentsOf(*command.app)) + "\n";
    page += roff(oneLine(command.app->get_description())) + "\n" + manualOptions(*command.app);
  }
  for (const auto& [heading, body] : text.sections) page += ".SH " + roff(heading) + "\n" + roff(body) + "\n";
  return page;
}

/// Shell code that sets `command` to the path of the command on the line: the cases of a `case` statement.
std::string casesOfCommands(const std::vector<Command>& commands) {
  std::string cases;
  for (const Command& command : commands) {
    const auto last = command.path.rfind(' ');
    const std::string before = last == command.path.npos ? "" : command.path.substr(0, last);
    if (!command.path.empty()) {
      cases += "      '" + before + "|" + command.app->get_name() + "') command='" + command.path + "' ;;\n";
    }
  }
  return cases;
}

/// The options of one command for bash: cases for the word before, and all words.
std::string bashWords(const CLI::App& app) {
  std::vector<std::string> all = namesOfCommandsIn(app);
  std::vector<std::string> file;
  std::vector<std::string> folder;
  std::vector<std::string> other;
  for (const Row& row : rowsOf(app)) {
    all.insert(all.end(), row.names.begin(), row.names.end());
    if (row.value.empty()) continue;
    auto& kind = row.takesFile() ? file : row.takesFolder() ? folder : other;
    kind.insert(kind.end(), row.names.begin(), row.names.end());
  }
  const auto branch = [](const std::vector<std::string>& names, const std::string& command) {
    return names.empty() ? "" : "    " + join(names, "|") + ") " + command + "return ;;\n";
  };
  const std::string files = "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -";
  return "  case $before in\n" + branch(file, files + "f -- \"$current\"); ") +
         branch(folder, files + "d -- \"$current\"); ") + branch(other, "") + "  esac\n" +
         "  mapfile -t COMPREPLY < <(compgen -W '" + join(all, " ") + "' -- \"$current\")\n";
}

std::string bash(const CLI::App& app) {
  const std::string name = app.get_name();
  std::string function = "_" + name;
  std::replace(function.begin(), function.end(), '-', '_');
  std::string page = "# bash completion of " + name + "\n" + function +
                     "() {\n"
                     "  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
                     "  # OPTION=VALUE is three words\n"
                     "  if [ \"$current\" = = ]; then current=; elif [ \"$before\" = = ]; then "
                     "before=${COMP_WORDS[COMP_CWORD-2]}; fi\n"
                     "  COMPREPLY=()\n";
  const std::vector<Command> commands = commandsOf(app);
  if (commands.size() == 1) {
    page += bashWords(app);
  } else {
    page +=
        "  local command= word\n  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n    case "
        "\"$command|$word\" in\n" +
        casesOfCommands(commands) + "    esac\n  done\n  case $command in\n";
    for (const Command& command : commands)
      page += "  '" + command.path + "')\n" + bashWords(*command.app) + "  ;;\n";
    page += "  esac\n";
  }
  return page + "}\ncomplete -o default -F " + function + " " + name + "\n";
}

std::string inSingleQuotes(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string zshArguments(const CLI::App& app) {
  std::string page = "_arguments";
  for (const Row& row : rowsOf(app)) {
    for (const auto& name : row.names) {
      std::string spec = (row.repeated ? "*" : "") + name + (row.value.empty() ? "" : "=") + "[" +
                         escaped(brief(row.description), "[]\\") + "]";
      if (!row.value.empty()) {
        spec += ":" + escaped(row.value, ":\\") + ":";
        spec += row.takesFile() ? "_files" : row.takesFolder() ? "_files -/" : " ";
      }
      page += " \\\n  " + inSingleQuotes(spec);
    }
  }
  const std::vector<std::string> names = namesOfCommandsIn(app);
  if (!names.empty()) page += " \\\n  " + inSingleQuotes("1:command:(" + join(names, " ") + ")");
  if (!argumentsOf(app).empty()) page += " \\\n  '*:file:_files'";
  return page + "\n";
}

std::string zsh(const CLI::App& app) {
  const std::vector<Command> commands = commandsOf(app);
  std::string page = "#compdef " + app.get_name() + "\n";
  if (commands.size() == 1) return page + zshArguments(app);
  page +=
      "local command= word\nlocal -a rest=(\"${words[@]:1:CURRENT-2}\")\nfor word in $rest; do\n    case "
      "\"$command|$word\" in\n" +
      casesOfCommands(commands) +
      "    *) continue ;;\n    esac\n  shift words\n  (( CURRENT-- ))\ndone\ncase $command in\n";
  for (const Command& command : commands)
    page += "'" + command.path + "')\n" + zshArguments(*command.app) + ";;\n";
  return page + "esac\n";
}

std::string fish(const CLI::App& app) {
  const std::string program = "complete -c " + app.get_name();
  const std::vector<Command> commands = commandsOf(app);
  std::string page = program + " -f\n";
  for (const Command& command : commands) {
    std::string start = program;
    if (commands.size() > 1) {
      start += command.path.empty() ? " -n __fish_use_subcommand"
                                    : " -n '__fish_seen_subcommand_from " + command.app->get_name() + "'";
    }
    for (const CLI::App* each : command.app->get_subcommands({})) {
      page += start + " -a " + each->get_name() + " -d '" +
              escaped(brief(oneLine(each->get_description())), "'\\") + "'\n";
    }
    if (!argumentsOf(*command.app).empty()) page += start + " -F\n";
    for (const Row& row : rowsOf(*command.app)) {
      page += start;
      for (const auto& name : row.names)
        page += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
      if (row.takesFile())
        page += " -r -F";
      else if (row.takesFolder())
        page += " -x -a '(__fish_complete_directories)'";
      else if (!row.value.empty())
        page += " -x";
      page += " -d '" + escaped(brief(row.description), "'\\") + "'\n";
    }
  }
  return page;
}

}  // namespace

std::string page(const CLI::App& app, const ManualText& text, const std::string& kind) {
  return kind == "man"    ? manual(app, text)
         : kind == "bash" ? bash(app)
         : kind == "zsh"  ? zsh(app)
                          : fish(app);
}

}  // namespace tidewell::tools

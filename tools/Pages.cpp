// SPDX-License-Identifier: Apache-2.0
#include "tools/Pages.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
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

std::string manual(const CLI::App& app, const ManualText& text) {
  const std::string name = app.get_name();
  std::string upper = name;
  std::transform(upper.begin(), upper.end(), upper.begin(), upperCase);
  std::string page = ".TH " + roff(upper) + " 1 \"\" \"Tidewell Core " TIDEWELL_VERSION_STRING "\"\n";
  page += ".SH NAME\n" + roff(name) + " \\- " + roff(text.summary) + "\n";
  page += ".SH SYNOPSIS\n.B " + roff(name) + "\n[\\fIOPTION\\fR]...\n";
  page += ".SH DESCRIPTION\n" + roff(oneLine(app.get_description())) + "\n.SH OPTIONS\n";
  for (const Row& row : rowsOf(app)) {
    page += ".TP\n\\fB" + roff(join(row.names, ", ")) + "\\fR";
    if (!row.value.empty()) page += " \\fI" + roff(row.value) + "\\fR";
    std::string sentence = row.description;
    if (!sentence.empty()) sentence[0] = upperCase(sentence[0]);
    page += "\n" + roff(sentence) + ".";
    if (!row.byDefault.empty()) page += " Default: " + roff(row.byDefault) + ".";
    page += "\n";
  }
  for (const auto& [heading, body] : text.sections) page += ".SH " + roff(heading) + "\n" + roff(body) + "\n";
  return page;
}

std::string bash(const CLI::App& app) {
  const std::string name = app.get_name();
  std::string function = "_" + name;
  std::replace(function.begin(), function.end(), '-', '_');
  std::vector<std::string> all;
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
  return "# bash completion of " + name + "\n" + function +
         "() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  # OPTION=VALUE is three words\n"
         "  if [ \"$current\" = = ]; then current=; elif [ \"$before\" = = ]; then "
         "before=${COMP_WORDS[COMP_CWORD-2]}; fi\n"
         "  COMPREPLY=()\n"
         "  case $before in\n" +
         branch(file, files + "f -- \"$current\"); ") + branch(folder, files + "d -- \"$current\"); ") +
         branch(other, "") + "  esac\n  mapfile -t COMPREPLY < <(compgen -W '" + join(all, " ") +
         "' -- \"$current\")\n}\ncomplete -F " + function + " " + name + "\n";
}

std::string zsh(const CLI::App& app) {
  std::string page = "#compdef " + app.get_name() + "\n_arguments";
  for (const Row& row : rowsOf(app)) {
    for (const auto& name : row.names) {
      std::string spec = (row.repeated ? "*" : "") + name + (row.value.empty() ? "" : "=") + "[" +
                         escaped(brief(row.description), "[]\\") + "]";
      if (!row.value.empty()) {
        spec += ":" + escaped(row.value, ":\\") + ":";
        spec += row.takesFile() ? "_files" : row.takesFolder() ? "_files -/" : " ";
      }
      std::string quoted;
      for (const char c : spec) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
      page += " \\\n  '" + quoted + "'";
    }
  }
  return page + "\n";
}

std::string fish(const CLI::App& app) {
  const std::string command = "complete -c " + app.get_name();
  std::string page = command + " -f\n";
  for (const Row& row : rowsOf(app)) {
    page += command;
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
  return page;
}

}  // namespace

void addPages(CLI::App& app, ManualText text) {
  app.add_option_function<std::string>("--print-page",
                                       [&app, text = std::move(text)](const std::string& kind) {
                                         std::cout << (kind == "man"    ? manual(app, text)
                                                       : kind == "bash" ? bash(app)
                                                       : kind == "zsh"  ? zsh(app)
                                                                        : fish(app));
                                         throw CLI::Success();
                                       })
      ->group("")
      ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}));
}

}  // namespace tidewell::tools

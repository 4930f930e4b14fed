// SPDX-License-Identifier: Apache-2.0
// `tidewell lint` and `tidewell diff`.

#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

#include "ApplicationFiles.h"
#include "Commands.h"
#include "Output.h"
#include "tidewell/core/TWConfigManager/ConfigurationLint.h"

namespace tidewell::tool {
namespace {

using base::Value;

struct LintVariables {
  std::vector<std::string> files;
  std::string failOn = "warning";
  bool json = false;
};

std::string severityText(LintSeverity severity) {
  switch (severity) {
    case LintSeverity::note:
      return styled("note", Style::faint);
    case LintSeverity::warning:
      return styled("warning", Style::heading);
    case LintSeverity::error:
      break;
  }
  return styled("error", Style::bad);
}

void printFinding(const std::string& file, const LintFinding& finding) {
  std::string place = file;
  if (finding.line() != 0) place += fmt::format(":{}:{}", finding.line(), finding.column());
  const std::string pointer = finding.pointer().empty() ? "" : " " + visible(finding.pointer());
  printLine(fmt::format("{}: {}: {}{}", place, severityText(finding.severity()), finding.rule(),
                        styled(pointer, Style::faint)));
  printWrapped("    ", finding.sentence());
  printWrapped("    ", finding.advice());
}

int lint(const LintVariables& variables) {
  const LintSeverity failOn = variables.failOn == "note"      ? LintSeverity::note
                              : variables.failOn == "warning" ? LintSeverity::warning
                                                              : LintSeverity::error;
  int status = kSuccess;
  std::vector<Value> reports;
  for (const std::string& path : variables.files) {
    const LintReport report = lintConfiguration(readInput(path));
    if (report.worst() && *report.worst() >= failOn) status = kFound;
    const std::string file = path == "-" ? "standard input" : visible(path);
    if (variables.json) {
      base::Dictionary entry = report.dictionary();
      entry.setObject(path, "file");
      reports.emplace_back(std::move(entry));
      continue;
    }
    for (const LintFinding& finding : report.findings()) printFinding(file, finding);
    if (report.omittedFindings() != 0) {
      printLine(fmt::format("{}: {} more findings of the same rules", file, report.omittedFindings()));
    }
    printLine(fmt::format("{}: {} findings; reply {} bytes, archive {} bytes, answers {} bytes", file,
                          report.findings().size() + report.omittedFindings(), report.replyBytes(),
                          report.archiveBytes(), report.compiledBytes()));
  }
  if (variables.json) printJson(base::Dictionary{{"reports", base::Array(std::move(reports))}});
  return status;
}

struct DiffVariables {
  ApplicationChoice application;
  std::string reply;
  bool json = false;
};

void printChange(const ConfigurationChange& change) {
  const std::string name = visible(change.name());
  const auto text = [&](const Value& value) {
    if (change.kind() == ConfigurationChangeKind::gate) return std::string(value.boolValue() ? "yes" : "no");
    return shownValue(value, 60);
  };
  switch (change.kind()) {
    case ConfigurationChangeKind::entryAdded:
      return printLine(styled(fmt::format("+ {} {}", name, text(change.after())), Style::good));
    case ConfigurationChangeKind::entryRemoved:
      return printLine(styled(fmt::format("- {} {}", name, text(change.before())), Style::bad));
    case ConfigurationChangeKind::gate:
    case ConfigurationChangeKind::value:
      return printLine(fmt::format("  {} {} -> {}", name, text(change.before()), text(change.after())));
  }
}

int diff(const DiffVariables& variables) {
  const ApplicationFiles files(variables.application);
  const auto changes = configurationChanges(readInput(variables.reply), *files.record());
  if (variables.json) {
    std::vector<Value> entries;
    for (const auto& change : changes) entries.emplace_back(change.dictionary());
    printJson(base::Dictionary{{"application", files.name()}, {"changes", base::Array(std::move(entries))}});
  } else {
    for (const auto& change : changes) printChange(change);
    if (changes.empty()) printLine("The reply changes nothing.");
  }
  return changes.empty() ? kSuccess : kFound;
}

}  // namespace

void addLint(tools::Command program) {
  addCommand<LintVariables>(
      program, "lint", "Checks replies of the configuration service: what would devices do with them?", &lint,
      [](tools::Command to, LintVariables& variables) {
        to.option("FILE", variables.files, "JSON file; - reads standard input").required();
        to.option("--fail-on", variables.failOn, "least severity that gives exit status 1")
            .oneOf({"note", "warning", "error"})
            .value("SEVERITY");
        to.flag("--json", variables.json, "print one JSON object");
      });
  addCommand<DiffVariables>(
      program, "diff",
      "Prints what a reply would change on this device, without changing it. Exit status 1 if "
      "it changes something.",
      &diff, [](tools::Command to, DiffVariables& variables) {
        to.option("REPLY", variables.reply, "JSON file; - reads standard input").required();
        addChoice(to, variables.application);
        to.flag("--json", variables.json, "print one JSON object");
      });
}

}  // namespace tidewell::tool

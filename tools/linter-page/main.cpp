// SPDX-License-Identifier: Apache-2.0
// Prints docs/configuration-linter.md. The rules come from the rows of kLintRules.
#include <cstdio>
#include <string>
#include <string_view>

#include "tidewell/core/TWConfigManager/internal/LintRules.h"

namespace {

constexpr std::string_view kIntroduction = R"(# The linter for configurations

`lintConfiguration` (`tidewell/core/TWConfigManager/ConfigurationLint.h`) predicts what devices would do with a reply of the configuration
service. It runs the JSON reader, the merge, the limits and the expression compiler that devices run, and changes no record, file or log:

```cpp
#include <tidewell/core/TWConfigManager/ConfigurationLint.h>

const tidewell::LintReport report = tidewell::lintConfiguration(bytes);
for (const tidewell::LintFinding& finding : report.findings()) {
  std::cout << finding.line() << ':' << finding.column() << ' ' << finding.pointer() << ": " << finding.sentence() << '\n';
}
```

A finding has a severity, the rule's name, the key, its place (line, column, JSON pointer), a sentence that says what devices do, and
advice. `LintReport::dictionary` gives the report for JSON. Names of rules and keys of the JSON do not change within a major version.

`configurationChanges` compares the reply with a given record: the gates whose answer changes, the values that change, and the entries that are added or removed.

| severity | meaning |
| --- | --- |
| note | worth knowing; devices do what the text says |
| warning | devices probably do not do what was meant |
| error | a part of the configuration, or all of it, has no effect or does harm |

## Limits

The bytes may be hostile. A reply of more than 3 MiB is one finding, because no device reads it; each rule has at most 50 findings, and the
report counts the others. Expressions are compiled only within the limits of a question. They are then tried on some unique IDs and on texts
built from their own characters, within a budget of steps that all share. Therefore `expression-matches-nothing`,
`expression-matches-everything` and `expression-slow` rest on trials, not on proofs: a fault may be missed.

## Rules

An ellipsis marks text that the finding fills in.

)";

/// The text of a cell, with an ellipsis for text that a finding fills in.
std::string cell(std::string_view text) {
  std::string shown;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isFilledIn = text.substr(at, 2) == "%@";
    shown += isFilledIn                           ? "\u2026"
             : text[at] == '|' || text[at] == '*' ? "\\" + std::string(1, text[at])
                                                  : std::string(1, text[at]);
    at += isFilledIn ? 1 : 0;
  }
  return shown;
}

}  // namespace

int main() {
  std::string page(kIntroduction);
  page += "| rule | severity | what devices do | advice |\n| --- | --- | --- | --- |\n";
  for (const tidewell::LintRule& rule : tidewell::kLintRules) {
    page += "| `" + std::string(rule.name) + "` | ";
    page += std::string(nameOf(rule.severity)) + " | ";
    page += cell(rule.sentence) + " | " + cell(rule.advice) + " |\n";
  }
  page += "\n---\n\nWritten by `tools/linter-page`. `scripts/check-docs --fix` updates it.\n";
  std::fputs(page.c_str(), stdout);
}

// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "Input.h"
#include "LintClaims.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

// Lints a reply: places lie in the text, numbers of findings are bounded, and what the findings say is what a
// record does.

void fuzz::check(std::string_view input) {
  using namespace tidewell;
  const LintReport report = lintConfiguration(input);
  for (const LintFinding& finding : report.findings()) {
    fuzz::require((finding.line() == 0) == (finding.column() == 0) && finding.line() <= input.size() + 1);
    fuzz::require(base::JSONObjectWithData(base::dataWithJSONObject(finding.dictionary())).dictionary() !=
                  nullptr);
    for (const char byte : finding.sentence()) fuzz::require(static_cast<unsigned char>(byte) >= 0x20);
  }
  const auto platform = testing::TestingPlatform::install();
  TWLogger::debug(TWLogLevelDebug);
  const std::string difference = differenceFromDevices(input, *platform);
  if (!difference.empty()) std::fprintf(stderr, "differs: %s\n", difference.c_str());
  fuzz::require(difference.empty());
}

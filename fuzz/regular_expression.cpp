#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/RegularExpression.h"

using namespace tidewell::base;

// A line with the pattern, and a text to match.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(input.find('\n'), input.size());
  const std::string_view text = input.substr(std::min(end + 1, input.size()));
  const RegularExpression expression(input.substr(0, end));
  MatchBudget budget;
  try {
    const MatchResult first = expression.matches(text, budget);
    MatchBudget again;
    if (expression.matches(text, again) != first || again.steps != budget.steps) std::abort();
  } catch (const Exception&) {
    if (expression.isValid()) std::abort();
  }
  return 0;
}

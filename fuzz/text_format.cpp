// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/TextFormat.h"

#include <vector>

#include "Input.h"
#include "tidewell/base/formats/Json.h"

using namespace tidewell::base;

// Input: a line with the format, and arguments: the entries of a JSON array, or the rest as text, data and a
// date. Any format with any arguments gives a text of bounded length, or raises.
void fuzz::check(std::string_view input) {
  const auto [format, rest] = fuzz::split(input, "\n");
  std::vector<Value> arguments;
  const Value json = JSONObjectWithData(rest);
  if (json.array()) arguments.assign(json.array()->begin(), json.array()->end());
  arguments.resize(std::min<std::size_t>(arguments.size(), 16));
  for (Value value : {Value(std::string(rest)), Value(Data(std::string(rest))), Value(BoxedPointer{}),
                      Value(), Value(Date{static_cast<double>(input.size()) * 1e9})})
    arguments.push_back(std::move(value));
  std::size_t longest = kMaximumFormatWidth + 400;  // a number has at most that many more digits
  for (const Value& argument : arguments) longest += argument.description().size();
  fuzz::completes(kInvalidArgumentException, [&, &format = format] {
    const std::string text = stringWithFormat(format, arguments.data(), arguments.size());
    fuzz::require(text.size() <= (format.size() + 1) * longest);
  });
}

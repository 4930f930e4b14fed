#include "tidewell/base/formats/TextFormat.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <vector>

#include "tidewell/base/Exception.h"

using namespace tidewell::base;

namespace {

constexpr int kDeepest = 8;

Value valueFrom(FuzzedDataProvider& input, int level) {
  switch (input.ConsumeIntegralInRange(0, level < kDeepest ? 11 : 9)) {
    case 0:
      return {};
    case 1:
      return Value::null();
    case 2:
      return input.ConsumeBool();
    case 3:
      return input.ConsumeIntegral<std::int64_t>();
    case 4:
      return input.ConsumeIntegral<std::uint64_t>();
    case 5:
      return input.ConsumeFloatingPoint<double>();
    case 6:
      return Data(input.ConsumeRandomLengthString(40));
    case 7:
      return Date{input.ConsumeFloatingPoint<double>()};
    case 8:
      return BoxedPointer{};
    case 9:
      return input.ConsumeRandomLengthString();
    case 10: {
      Array array;
      while (input.ConsumeBool()) array.addObject(valueFrom(input, level + 1));
      return array;
    }
    default: {
      Dictionary dictionary;
      while (input.ConsumeBool()) {
        Value value = valueFrom(input, level + 1);
        if (value) dictionary.setObject(std::move(value), input.ConsumeRandomLengthString(20));
      }
      return dictionary;
    }
  }
}

}  // namespace

/// Any template with any arguments gives a text of bounded length, or raises.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider input(bytes, size);
  const std::string format = input.ConsumeRandomLengthString();
  std::vector<Value> arguments;
  std::size_t longest = kMaximumFormatWidth + 400;  // a number has at most so many digits more
  while (input.remaining_bytes() > 0 && arguments.size() < 16) {
    arguments.push_back(valueFrom(input, 0));
    longest += arguments.back().description().size();
    if (arguments.back() != arguments.back()) std::abort();
  }
  try {
    const std::string text = stringWithFormat(format, arguments.data(), arguments.size());
    if (text.size() > (format.size() + 1) * longest) std::abort();
  } catch (const Exception& exception) {
    if (exception.name() != kInvalidArgumentException) std::abort();
  }
  return 0;
}

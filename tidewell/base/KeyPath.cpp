// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/KeyPath.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <vector>

#include "tidewell/base/Exception.h"

namespace tidewell::base {
namespace {

/// Arrays nested more deeply raise, because the evaluation recurses once per level.
constexpr int kMaximumNesting = 512;

[[noreturn]] void raiseUnknownKey(const Value& object, std::string_view key) {
  std::string reason = "[<" + object.className();
  reason.append("> valueForUndefinedKey:]: this class is not key value coding-compliant for the key ");
  reason.append(key).append(".");
  raise(kUnknownKeyException, reason);
}

Value numberForKey(const Value& number, std::string_view key) {
  if (key == "integerValue" || key == "longLongValue") return number.integerValue();
  if (key == "boolValue") return number.boolValue();
  if (key == "doubleValue") return number.doubleValue();
  if (key == "description" || (key == "stringValue" && number.isNumber())) return number.description();
  raiseUnknownKey(number, key);
}

Value count(std::size_t number) { return static_cast<std::int64_t>(number); }

Value valueForKey(const Value& object, std::string_view key, int level) {
  switch (object.kind()) {
    case Value::Kind::none:
      return Value();
    case Value::Kind::dictionary:
      if (key == "@count") return count(object.dictionary()->count());
      if (key.substr(0, 1) == "@") raiseUnknownKey(object, key);
      return object.dictionary()->objectForKey(key);
    case Value::Kind::array: {
      if (level >= kMaximumNesting) raise(kRangeException, "arrays nested too deeply for a key path");
      std::vector<Value> answers;
      answers.reserve(object.array()->count());
      for (const Value& entry : *object.array()) {
        Value answer = valueForKey(entry, key, level + 1);
        answers.push_back(answer ? std::move(answer) : Value::null());
      }
      return Array(std::move(answers));
    }
    case Value::Kind::string:
      if (key == "length") return count(object.length());
      return numberForKey(object, key);
    case Value::Kind::data:
      if (key == "length") return count(object.length());
      raiseUnknownKey(object, key);
    case Value::Kind::boolean:
    case Value::Kind::integer:
    case Value::Kind::unsignedInteger:
    case Value::Kind::real:
      return numberForKey(object, key);
    case Value::Kind::object:
      if (!object.object()->operations->valueForKey) raiseUnknownKey(object, key);
      return object.object()->operations->valueForKey(object.object()->object.get(), key);
    default:
      raiseUnknownKey(object, key);
  }
}

Value sum(const std::vector<Value>& numbers) {
  std::int64_t whole = 0;
  double real = 0;
  bool isWhole = true;
  for (const Value& number : numbers) {
    real += number.doubleValue();
    isWhole = isWhole && number.kind() != Value::Kind::real &&
              number.kind() != Value::Kind::unsignedInteger && !number.isString() &&
              !__builtin_add_overflow(whole, number.integerValue(), &whole);
  }
  return isWhole ? Value(whole) : Value(real);
}

enum class Extreme { least, largest };
Value extreme(const std::vector<Value>& numbers, Extreme wanted) {
  Value best;
  for (const Value& number : numbers) {
    if (best.isNil() || (wanted == Extreme::largest ? number.doubleValue() > best.doubleValue()
                                                    : number.doubleValue() < best.doubleValue())) {
      best = number;
    }
  }
  return best;
}

/// Evaluates `@sum.x` and the like over the results that the entries gave for the rest of the path. Nulls are
/// skipped.
Value aggregate(const Value& collection, std::string_view operation, const Value& answers) {
  std::vector<Value> numbers;
  for (const Value& answer : *answers.array()) {
    if (!answer.isNull() && !answer.isNil()) numbers.push_back(answer);
  }
  if (operation == "@sum") return sum(numbers);
  if (operation == "@max") return extreme(numbers, Extreme::largest);
  if (operation == "@min") return extreme(numbers, Extreme::least);
  if (operation == "@avg") {
    if (numbers.empty()) return 0;
    return sum(numbers).doubleValue() / static_cast<double>(numbers.size());
  }
  raiseUnknownKey(collection, operation);
}

}  // namespace

Value valueForKeyPath(const Value& object, std::string_view keyPath) {
  const auto stops = std::count(keyPath.begin(), keyPath.end(), '.');
  if (static_cast<std::size_t>(stops) >= kMaximumKeyPathSegments) {
    raise(kRangeException, "the key path has too many segments");
  }
  Value current = object;
  while (!current.isNil()) {
    const std::size_t stop = keyPath.find('.');
    const bool last = stop == std::string_view::npos;
    const std::string_view segment = keyPath.substr(0, stop);
    const std::string_view rest = last ? std::string_view() : keyPath.substr(stop + 1);
    if (current.array() && segment == "@count") {
      current = count(current.array()->count());
    } else if (current.array() && segment.substr(0, 1) == "@") {
      if (last) raiseUnknownKey(current, segment);
      const Value answers = valueForKeyPath(current, rest);
      if (!answers.array()) raiseUnknownKey(current, segment);
      return aggregate(current, segment, answers);
    } else {
      current = valueForKey(current, segment, 0);
    }
    if (last) return current;
    keyPath = rest;
  }
  return current;
}

}  // namespace tidewell::base

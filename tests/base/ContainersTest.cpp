#include <map>
#include <random>
#include <thread>

#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;

namespace {

Value nestedArrays(int levels) {
  Value value = Array{"core"};
  for (int i = 0; i < levels; ++i) value = Array{std::move(value), 1};
  return value;
}

}  // namespace

TEST(Dictionary, AgreesWithAPlainModelUnderRandomWrites) {
  std::mt19937 random(1);
  Dictionary dictionary;
  std::vector<std::pair<std::string, int>> model;  // in order of insertion
  Dictionary snapshot;
  std::vector<std::pair<std::string, int>> snapshotModel;
  auto check = [](const Dictionary& actual, const std::vector<std::pair<std::string, int>>& expected) {
    ASSERT_EQ(actual.count(), expected.size());
    std::size_t i = 0;
    for (const auto& [key, value] : actual) {
      ASSERT_EQ(key, expected[i].first);
      ASSERT_EQ(value.integerValue(), expected[i].second);
      ASSERT_EQ(actual.find(key), &value);
      ++i;
    }
  };
  for (int step = 0; step < 5000; ++step) {
    const std::string key = "key " + std::to_string(random() % 60);
    const auto known =
        std::find_if(model.begin(), model.end(), [&key](const auto& entry) { return entry.first == key; });
    ASSERT_EQ(dictionary.find(key) != nullptr, known != model.end());
    if (random() % 3 == 0) {
      dictionary.removeObjectForKey(key);
      if (known != model.end()) model.erase(known);
    } else {
      dictionary.setObject(step, key);
      if (known != model.end()) {
        known->second = step;
      } else {
        model.emplace_back(key, step);
      }
    }
    if (step % 7 == 0) {
      check(snapshot, snapshotModel);  // what was copied does not follow
      snapshot = dictionary;
      snapshotModel = model;
    }
    check(dictionary, model);
  }
}

TEST(Containers, NilAndPlacesBeyondTheEndRaise) {
  Dictionary dictionary{{"a", 1}};
  EXPECT_THROW(dictionary.setObject(Value(), "a"), Exception);
  EXPECT_THROW((Dictionary{{"a", Value()}}), Exception);
  EXPECT_EQ(dictionary.description(), "{\n    a = 1;\n}");
  EXPECT_THROW((void)Array{1}.objectAtIndex(1), Exception);
}

TEST(Dictionary, TakesItsOwnKeysAndValues) {
  Dictionary dictionary{{"a", "first"}};
  dictionary.setObject(Value(dictionary), dictionary.begin()->key);
  EXPECT_EQ(valueForKeyPath(dictionary, "a.a"), Value("first"));
  Value value = Array{Value(Array{"inner"})};
  value = value.array()->objectAtIndex(0);
  EXPECT_EQ(value.description(), "(\n    inner\n)");
}

TEST(Containers, NestingWithoutBoundIsNoStackOverflow) {
  const Value a = nestedArrays(200000);
  const Value b = nestedArrays(200000);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_NE(a, nestedArrays(199999));
}

TEST(Containers, CopiesMayBeWrittenAndDroppedByDifferentThreads) {
  for (int round = 0; round < 200; ++round) {
    Dictionary shared{{"a", 1}, {"b", Array{1, 2}}};
    std::thread reader([copy = shared]() mutable {
      EXPECT_EQ(copy.count(), 2u);
      copy = Dictionary();
    });
    shared.setObject(round, "a");
    reader.join();
    EXPECT_EQ(shared.objectForKey("a").integerValue(), round);
  }
}

TEST(Equality, NumbersCompareByValueAndHashAlike) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::pair<Value, Value> equal[] = {
      {1, true},
      {1, 1.0},
      {0, -0.0},
      {-5, -5.0},
      {nan, nan},
      {0x1p63, 1ull << 63},
      {Dictionary{{"a", 1}, {"b", 2}}, Dictionary{{"b", 2.0}, {"a", true}}}};
  for (const auto& [a, b] : equal) {
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.hash(), b.hash()) << a.description();
  }
  const std::pair<Value, Value> different[] = {{1, "1"},
                                               {-1, UINT64_MAX},
                                               {INT64_MAX, 0x1p63},
                                               {(1ll << 53) + 1, 0x1p53},
                                               {Value(), Value::null()},
                                               {0, Value()},
                                               {Array{}, Dictionary{}},
                                               {Array{1}, Array{2}},
                                               {Data("a"), "a"},
                                               {Date{1}, 1}};
  for (const auto& [a, b] : different) EXPECT_NE(a, b) << a.description();
}

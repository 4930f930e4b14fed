#include "VectorFile.h"
#include "tidewell/base/Exception.h"

using namespace tidewell::base;

namespace {

/// The answer's description with its kind, or the name of what is raised.
std::string answerTo(const Value& root, const std::string& path) {
  try {
    const Value answer = valueForKeyPath(root, path);
    return answer.className() + " " + answer.description();
  } catch (const Exception& exception) {
    return exception.name();
  }
}

}  // namespace

TEST(KeyPath, AnswersAsThePlatformDoes) {
  const auto file = vectors::jsonFile("key_path.json");
  for (const auto& row : file["cases"].GetArray()) {
    const auto& expected = row["expected"];
    std::string text = vectors::textOf(expected, "v");
    if (vectors::textOf(expected, "t") != "raises") {
      const Value value = vectors::valueOf(expected);
      text = value.className() + " " + value.description();
    }
    EXPECT_EQ(answerTo(vectors::valueOf(row["root"]), vectors::textOf(row, "keyPath")), text)
        << vectors::textOf(row, "id");
  }
}

TEST(KeyPath, OperatorsAskTheCollection) {
  const Dictionary root{{"list", Array{Dictionary{{"x", 2}}, Dictionary{{"x", 7.5}}, Dictionary{{"y", 1}}}}};
  const std::pair<const char*, const char*> cases[] = {
      {"list.@sum.x", "__NSCFNumber 9.5"},    {"list.@avg.x", "__NSCFNumber 4.75"},
      {"list.@min.x", "__NSCFNumber 2"},      {"list.@max.x", "__NSCFNumber 7.5"},
      {"list.@sum", "NSUnknownKeyException"}, {"list.@median.x", "NSUnknownKeyException"},
      {"list.x.@count", "__NSCFNumber 3"},    {"@sum.list", "NSUnknownKeyException"}};
  for (const auto& [path, expected] : cases) EXPECT_EQ(answerTo(root, path), expected) << path;
}

TEST(KeyPath, HostilePathsAndNestingRaise) {
  Value nested = 1;
  for (int i = 0; i < 100000; ++i) nested = Array{nested};
  EXPECT_EQ(answerTo(nested, "x"), kRangeException);
  std::string path = "a";
  for (int i = 0; i < 1000; ++i) path += ".@sum";
  EXPECT_EQ(answerTo(Array{1}, path), kRangeException);
}

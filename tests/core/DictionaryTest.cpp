#include "core/CoreFixture.h"
#include "tidewell/base/Exception.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/foundation/NSDictionary+TWExtension.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"

namespace tidewell {
namespace {

class DictionaryTest : public CoreFixture {};

TEST_F(DictionaryTest, APayloadCarriesEveryKey) {
  TWLogger::debug(1);
  base::Dictionary payload;
  setObjectNilHandled(payload, {}, "x");
  setObjectNilHandled(payload, base::Value::null(), "y");
  setObjectNilHandled(payload, 7, "z");
  setObjectNilHandled(payload, "v", std::nullopt);
  setObjectNilHandled(payload, {}, std::nullopt);
  EXPECT_EQ(payload, (base::Dictionary{{"x", ""}, {"y", base::Value::null()}, {"z", 7}}));
  EXPECT_EQ(lines(), (std::vector<std::string>{"Tidewell - Key can't be nil. Object is v",
                                               "Tidewell - Key can't be nil. Object is (null)"}));
  removeValidObjectForKey(payload, "x");
  removeValidObjectForKey(payload, "absent");
  removeValidObjectForKey(payload, std::nullopt);
  EXPECT_EQ(payload.allKeys(), (std::vector<std::string>{"y", "z"}));
}

TEST_F(DictionaryTest, NullReadsAsNil) {
  const base::Dictionary inner{{"text", "t"}, {"null", base::Value::null()}};
  const base::Dictionary outer{{"inner", inner}, {"null", base::Value::null()}, {"empty", ""}};
  EXPECT_TRUE(validObjectForKey(outer, "null").isNil());
  EXPECT_TRUE(validObjectForKey(outer, "absent").isNil());
  EXPECT_TRUE(validObjectForKey(outer, std::nullopt).isNil());
  EXPECT_EQ(validObjectForKey(outer, "empty"), base::Value(""));
  EXPECT_EQ(validObjectForKeyPath(outer, "inner.text"), base::Value("t"));
  EXPECT_TRUE(validObjectForKeyPath(outer, "inner.null").isNil());
  EXPECT_TRUE(validObjectForKeyPath(outer, "absent.text").isNil());
  EXPECT_TRUE(validObjectForKeyPath(outer, std::nullopt).isNil());
  EXPECT_THROW((void)validObjectForKeyPath(outer, "null.text"), base::Exception);
}

}  // namespace
}  // namespace tidewell

#include "tidewell/base/internal/Digest.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <set>

using namespace tidewell::base;

namespace {

std::string md5Text(std::string_view bytes) {
  const auto digest = md5(bytes);
  return hexString(digest.data(), digest.size());
}

}  // namespace

TEST(Digest, GivesTheValuesOfTheStandards) {
  EXPECT_EQ(md5Text(""), "d41d8cd98f00b204e9800998ecf8427e");  // RFC 1321, A.5
  EXPECT_EQ(md5Text("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  const auto code = hmacSha256("Jefe", "what do ya want for nothing?");  // RFC 4231, 4.3
  EXPECT_EQ(hexString(code.data(), code.size()),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  const auto longKey =
      hmacSha256(std::string(131, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First");
  EXPECT_EQ(hexString(longKey.data(), longKey.size()),  // RFC 4231, 4.7
            "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
  const auto empty = hmacSha256("", "");
  EXPECT_EQ(hexString(empty.data(), empty.size()),
            "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
}

TEST(Digest, Md5AnswersAHostThatAllowsItselfFipsOnly) {
  ASSERT_TRUE(EVP_set_default_properties(nullptr, "fips=yes"));
  ASSERT_EQ(EVP_MD_fetch(nullptr, "MD5", nullptr), nullptr);
  EXPECT_EQ(md5Text("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(UUIDString().size(), 36u);
}

TEST(Uuid, IsUpperCaseVersionFourAndNeverTheSame) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string uuid = UUIDString();
    EXPECT_EQ(uuid.find_first_not_of("0123456789ABCDEF-"), std::string::npos) << uuid;
    EXPECT_EQ(uuid[14], '4') << uuid;
    EXPECT_NE(std::string("89AB").find(uuid[19]), std::string::npos) << uuid;
    EXPECT_TRUE(seen.insert(uuid).second) << uuid;
  }
  const std::uint8_t bytes[16] = {0, 1, 2, 3, 4, 5, 0xF6, 7, 0xF8, 9, 10, 11, 12, 13, 14, 255};
  EXPECT_EQ(UUIDStringWithBytes(bytes), "00010203-0405-4607-B809-0A0B0C0D0EFF");
}

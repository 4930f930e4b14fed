#include <random>

#include "ConfigModel.h"
#include "core/CoreFixture.h"

namespace tidewell {
namespace {

using Values = std::vector<base::Value>;

const Lines kAskedNames{"a", "b", "purchase", "Purchase", "", "guest-1", "42"};

/// Random replies, some of them malformed.
class Replies {
 public:
  explicit Replies(std::uint32_t seed) : random_(seed) {}

  base::Value next() {
    if (oneIn(20)) return oneOf(kOddities);
    base::Dictionary reply;
    for (const char* key : {"a_s", "i_s", "in_s", "g_s", "le_s", "d_t", "p_f_s"})
      maybe(reply, key, {"blocked", "allowed", "Blocked"});
    for (const char* key : {"p_f_t", "i_d_e", "dt_s_t", "u_a_c_t", "s_i_d", "e_b_c"})
      maybe(reply, key, {0, 45, -7, "120", " 9x", 2.9, true, std::uint64_t{1} << 63, ""});
    for (const char* key : {"b_e", "f_e", "d_t_w_e", "src_ext"})
      maybe(reply, key,
            {base::Array(), base::Array{"a", "purchase", "a"}, base::Array{"b", 1, "a"},
             base::Array{base::Value::null(), "a"}, base::Array{""}});
    maybe(reply, "b_uid_r",
          {base::Array{"guest.*", "b"}, base::Array{"a", "("}, base::Array{"[0-9]+", 3, "b"},
           base::Array{"[a-", "a"}});
    maybe(reply, "le_tkn", {"token", 5});
    return reply;
  }
  int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }
  bool oneIn(int count) { return below(count) == 0; }

 private:
  const base::Value& oneOf(const Values& values) {
    return values[static_cast<std::size_t>(below(static_cast<int>(values.size())))];
  }
  void maybe(base::Dictionary& reply, const char* key, const Values& usual) {
    if (!oneIn(4)) reply.setObject(oneOf(oneIn(30) ? kOddities : usual), key);
  }

  const Values kOddities{base::Value::null(),        7,   "text", base::Array{"x"},
                         base::Dictionary{{"k", 1}}, 1.5, false};
  std::mt19937 random_;
};

class ConfigDifferential : public CoreFixture, public ::testing::WithParamInterface<std::uint32_t> {};

TEST_P(ConfigDifferential, AnswersLikeThePlainModelThroughMergesSettersAndRestarts) {
  TWLogger::debug(TWLogLevelDebug);
  Replies replies(GetParam());
  ConfigModel model;
  auto manager = std::make_unique<TWConfigManager>();
  for (int step = 0; step < 150; ++step) {
    SCOPED_TRACE(step);
    const bool flag = replies.oneIn(2);
    const auto change = [&](auto what) {
      what(model);
      what(*manager);
    };
    const int kind = replies.below(8);
    if (kind == 0) {
      change([&](auto& subject) { subject.setDataTrackingOptedOut(flag); });
    } else if (kind == 1) {
      change([&](auto& subject) { subject.setUserPushNotificationOptedOut(flag); });
    } else if (kind == 2) {
      change([&](auto& subject) { subject.setUserInAppNotificationOptedOut(flag); });
    } else if (kind == 3) {
      const TWDataRegion region{replies.below(5) - 1};
      change([&](auto& subject) { subject.setDataRedirectionRegion(region); });
    } else if (kind == 4) {
      model.restart();
      manager = std::make_unique<TWConfigManager>();
    } else {
      const base::Value reply = replies.next();
      SCOPED_TRACE(reply.description());
      change([&](auto& subject) { subject.updateConfigFromResponse(reply); });
    }
    if (flag) runUntilIdle();  // expressions are compiled ahead, or else by the first question
    ASSERT_EQ(answersOf(*manager, kAskedNames, [&] { return coordinatesOf(lines()); }),
              answersOf(model, kAskedNames, [&] { return std::exchange(model.logged, {}); }));
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, ConfigDifferential, ::testing::Range(1u, 9u));

}  // namespace
}  // namespace tidewell

#include <random>

#include "ConfigModel.h"
#include "core/CoreFixture.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"

namespace tidewell {
namespace {

const std::vector<std::string> kNames = {"a", "b", "purchase", "Purchase", "", "guest-1", "42"};

/// Replies as a server with a bad day might send them.
class Replies {
 public:
  explicit Replies(std::uint32_t seed) : random_(seed) {}

  base::Value next() {
    if (oneIn(20)) return oddity();
    base::Dictionary reply;
    for (const char* key : {"a_s", "i_s", "in_s", "g_s", "le_s", "d_t", "p_f_s"})
      maybe(reply, key, {"blocked", "allowed", "Blocked"});
    for (const char* key : {"p_f_t", "i_d_e", "dt_s_t", "u_a_c_t", "s_i_d", "e_b_c"}) {
      maybe(reply, key, {0, 45, -7, "120", " 9x", 2.9, true, std::uint64_t{1} << 63, ""});
    }
    for (const char* key : {"b_e", "f_e", "d_t_w_e", "src_ext"}) {
      maybe(reply, key,
            {base::Array(), base::Array{"a", "purchase", "a"}, base::Array{"b", 1, "a"},
             base::Array{base::Value::null(), "a"}, base::Array{""}});
    }
    maybe(reply, "b_uid_r",
          {base::Array{"guest.*", "b"}, base::Array{"a", "("}, base::Array{"[0-9]+", 3, "b"},
           base::Array{"[a-", "a"}});
    maybe(reply, "le_tkn", {"token", 5});
    return reply;
  }
  int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }
  bool oneIn(int count) { return below(count) == 0; }

 private:
  base::Value oddity() {
    const base::Value kOdd[] = {base::Value::null(),        7,   "text", base::Array{"x"},
                                base::Dictionary{{"k", 1}}, 1.5, false};
    return kOdd[below(std::size(kOdd))];
  }
  void maybe(base::Dictionary& reply, const char* key, const std::vector<base::Value>& usual) {
    if (oneIn(4)) return;
    reply.setObject(
        oneIn(30) ? oddity() : usual[static_cast<std::size_t>(below(static_cast<int>(usual.size())))], key);
  }

  std::mt19937 random_;
};

class ConfigDifferential : public CoreFixture, public ::testing::WithParamInterface<std::uint32_t> {};

TEST_P(ConfigDifferential, AnswersAsThePlainModelThroughMergesSettersAndRestarts) {
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
    switch (replies.below(8)) {
      case 0:
        change([&](auto& subject) { subject.setDataTrackingOptedOut(flag); });
        break;
      case 1:
        change([&](auto& subject) { subject.setUserPushNotificationOptedOut(flag); });
        break;
      case 2:
        change([&](auto& subject) { subject.setUserInAppNotificationOptedOut(flag); });
        break;
      case 3: {
        const TWDataRegion region{replies.below(5) - 1};
        change([&](auto& subject) { subject.setDataRedirectionRegion(region); });
        break;
      }
      case 4:
        model.restart();
        manager = std::make_unique<TWConfigManager>();
        break;
      default: {
        const base::Value reply = replies.next();
        SCOPED_TRACE(reply.description());
        change([&](auto& subject) { subject.updateConfigFromResponse(reply); });
      }
    }
    if (flag) runUntilIdle();  // sometimes the expressions are compiled ahead, sometimes on the question
    ASSERT_EQ(answersOf(*manager, kNames, [&] { return coordinatesOf(lines()); }),
              answersOf(model, kNames, [&] { return std::exchange(model.logged, {}); }));
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, ConfigDifferential, ::testing::Range(1u, 9u));

}  // namespace
}  // namespace tidewell

#include "tidewell/platform/UIApplication.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Observing.h"
#include "tidewell/testing/TestingPlatform.h"

namespace tidewell::platform {
namespace {

using Lines = std::vector<std::string>;

Lines& heard() {
  static Lines lines;
  return lines;
}

/// Hears of opened URLs in both ways.
class Modern : public UIApplicationDelegate {
 public:
  bool openURL(UIApplication&, const base::Url& url, const base::Dictionary& options) override {
    heard().push_back("options " + url.absoluteString() + " " + std::to_string(options.count()));
    return true;
  }
  bool openURLFromSource(UIApplication&, const base::Url&, const std::optional<std::string>&,
                         const base::Value&) override {
    return false;
  }
};
/// Hears of them in the older way only, of notifications without a handler, and keeps a handler.
class Old : public UIApplicationDelegate {
 public:
  bool openURLFromSource(UIApplication&, const base::Url& url, const std::optional<std::string>& source,
                         const base::Value& annotation) override {
    heard().push_back("source " + url.absoluteString() + " " + source.value_or("nobody") + " " +
                      annotation.description());
    return true;
  }
  void didReceiveRemoteNotification(UIApplication&, const base::Dictionary& userInfo) override {
    heard().push_back("notification " + userInfo.objectForKey("alert").description());
  }
  void handleEventsForBackgroundURLSession(UIApplication&, const std::string& identifier,
                                           const std::function<void()>& completionHandler) override {
    heard().push_back("events " + identifier);
    kept = completionHandler;
  }
  std::function<void()> kept;
};
class Nothing : public UIApplicationDelegate {};

class UIApplicationTest : public ::testing::Test {
 protected:
  UIApplicationTest() : platform(testing::TestingPlatform::install()) {}

  static std::shared_ptr<UIApplication> application() { return UIApplication::sharedApplication(); }

  std::shared_ptr<testing::TestingPlatform> platform;
  const base::Url url = *base::Url::URLWithString("shop:cart");
};

TEST(NoPlatform, ThereIsNoApplicationToBeFoundUntilOneIsInstalled) {
  EXPECT_EQ(runtime::classNamed("UIApplication"), nullptr);
  EXPECT_EQ(UIApplication::sharedApplication(), nullptr);
  testing::TestingPlatform::install();
  runtime::Class* const found = runtime::classNamed("UIApplication");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(runtime::send(found, kSharedApplication), UIApplication::sharedApplication());
  EXPECT_NE(UIApplication::sharedApplication(), nullptr);
}

TEST_F(UIApplicationTest, AURLIsOpenedInTheNewestWayThatTheDelegateKnows) {
  const base::Dictionary options{{UIApplicationOpenURLOptionsSourceApplicationKey, "org.example.mail"},
                                 {UIApplicationOpenURLOptionsAnnotationKey, 7}};
  const struct {
    runtime::Ref delegate;
    bool answer;
    Lines heard;
  } cases[] = {{nullptr, false, {}},
               {runtime::make<Nothing>(), false, {}},
               {runtime::make<Old>(), true, {"source shop:cart org.example.mail 7"}},
               {runtime::make<Modern>(), true, {"options shop:cart 2"}}};
  for (const auto& c : cases) {
    application()->setDelegate(c.delegate);
    EXPECT_EQ(application()->deliverOpenURL(url, options), c.answer);
    EXPECT_EQ(std::exchange(heard(), {}), c.heard);
  }
  application()->setDelegate(cases[2].delegate);
  application()->deliverOpenURL(url);
  EXPECT_EQ(heard(), Lines{"source shop:cart nobody (null)"});
}

TEST_F(UIApplicationTest, AHandlerThatNobodyTakesIsCalledAtOnce) {
  int called = 0;
  std::vector<UIBackgroundFetchResult> fetched;
  const auto deliver = [&] {
    application()->deliverBackgroundURLSessionEvents(
        "session", [&, isSpent = false]() mutable { called += !std::exchange(isSpent, true); });
    application()->deliverRemoteNotification(
        {{"alert", "sale"}}, [&](UIBackgroundFetchResult result) { fetched.push_back(result); });
  };
  deliver();
  EXPECT_EQ(called, 1);
  EXPECT_EQ(fetched, std::vector{UIBackgroundFetchResult::noData});

  const auto old = runtime::make<Old>();
  application()->setDelegate(old);
  deliver();
  EXPECT_EQ(heard(), (Lines{"events session", "notification sale"}));
  EXPECT_EQ(called, 1);
  EXPECT_EQ(fetched.size(), 2u);
  const auto copy = old->kept;
  old->kept();
  copy();  // one state for all copies
  EXPECT_EQ(called, 2);

  application()->deliverBackgroundURLSessionEvents("no handler");
  old->kept();  // may be called like any other
}

TEST_F(UIApplicationTest, TheDelegateIsNotKeptAliveAndItsChangesAreSeen) {
  std::vector<std::pair<bool, bool>> changes;  // whether the old and the new value were there
  const runtime::Observation observation =
      runtime::observe(application(), "delegate", runtime::kObserveOld | runtime::kObserveNew,
                       [&](const base::Dictionary& change) {
                         changes.emplace_back(!change.objectForKey(runtime::kChangeOldKey).isNull(),
                                              !change.objectForKey(runtime::kChangeNewKey).isNull());
                       });
  runtime::Ref delegate = runtime::make<Modern>();
  runtime::send(application(), kSetDelegate, delegate);
  EXPECT_EQ(application()->delegate(), delegate);
  runtime::send(application(), kSetDelegate, nullptr);
  application()->setDelegate(delegate);
  delegate = nullptr;
  EXPECT_EQ(runtime::send(application(), kDelegate), nullptr);
  EXPECT_FALSE(application()->deliverOpenURL(url));
  application()->setDelegate(runtime::make<Nothing>());
  EXPECT_EQ(changes,
            (std::vector<std::pair<bool, bool>>{{false, true}, {true, false}, {false, true}, {false, true}}));
}

}  // namespace
}  // namespace tidewell::platform

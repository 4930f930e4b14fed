#include <optional>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

class Links : public DesktopTest {
 protected:
  void SetUp() override {
    addApplication("tickets", "MimeType=x-scheme-handler/tickets;");
    addApplication("browser", "MimeType=x-scheme-handler/https;x-scheme-handler/http;");
    addApplication("files",
                   "MimeType=x-scheme-handler/file;x-scheme-handler/javascript;x-scheme-handler/data;");
    addApplication("maps", "X-Tidewell-UniversalLinks=Maps.example;other.example;");
    addApplication("zz-maps", "X-Tidewell-UniversalLinks=maps.example;");
    addApplication("deaf", "MimeType=x-scheme-handler/deaf;\nX-Tidewell-UniversalLinks=deaf.example;", "");
    for (const char* const scheme : {"https", "http"}) setHandler(scheme, "browser");
    for (const char* const scheme : {"file", "javascript", "data"}) setHandler(scheme, "files");
    setHandler("tickets", "tickets");
    setHandler("deaf", "deaf");
    opener_ = &install().linkOpener();
  }

  /// What came of opening a URL: the completion's answer.
  bool open(const base::Url& link, bool universalLinksOnly) {
    std::optional<bool> answer;
    int calls = 0;
    opener_->openURL(link, {universalLinksOnly}, [&](bool isOpened) {
      ++calls;
      answer = isOpened;
      EXPECT_TRUE(platform::Platform::current().mainQueue().isCurrent());
    });
    EXPECT_FALSE(answer) << "before the call returned";
    EXPECT_TRUE(waitUntil([&] { return answer.has_value(); }));
    runFor(0.02);
    EXPECT_EQ(calls, 1);
    return answer.value_or(false);
  }

  platform::LinkOpener* opener_ = nullptr;
};

TEST_F(Links, OpenInTheProgramThatIsRegisteredAndInNoOther) {
  struct Case {
    const char* link;
    bool canOpen;
    const char* handler;   ///< of the scheme
    const char* claimant;  ///< of the host
  };
  constexpr Case kCases[] = {
      {"tickets://events/4711?seat=4B#x", true, "tickets", nullptr},
      {"https://shop.example/", true, "browser", nullptr},
      {"https://maps.example/pier", true, "browser", "maps"},
      {"HTTP://MAPS.EXAMPLE:8080/pier", true, "browser", "maps"},
      {"https://sub.maps.example/", true, "browser", nullptr},
      {"https://maps.example@evil.example/", true, "browser", nullptr},
      {"https://deaf.example/", true, "browser", nullptr},
      {"deaf://x", false, nullptr, nullptr},
      {"unknown:x", false, nullptr, nullptr},
      {"relative/path", false, nullptr, nullptr},
      {"--help", false, nullptr, nullptr},
      {"FILE:///etc/passwd", false, nullptr, nullptr},
      {"javascript:alert(1)", false, nullptr, nullptr},
      {"data:text/html,x", false, nullptr, nullptr},
  };
  const char* const everybody[] = {"tickets", "browser", "files", "maps", "zz-maps", "deaf"};
  for (const Case& each : kCases) {
    SCOPED_TRACE(each.link);
    EXPECT_EQ(opener_->canOpenURL(url(each.link)), each.canOpen);
    for (const bool universal : {false, true}) {
      const char* const expected = universal ? each.claimant : each.handler;
      EXPECT_EQ(open(url(each.link), universal), expected != nullptr);
      if (expected) {
        EXPECT_TRUE(waitUntil([&] { return wasStarted(expected); }));
        EXPECT_EQ(argumentsOf(expected), std::vector<std::string>{each.link});
      }
      for (const char* const name : everybody) {
        EXPECT_EQ(wasStarted(name), expected && std::string_view(name) == expected) << name;
      }
      for (const char* const name : everybody) std::filesystem::remove(folder_ / "records" / name);
    }
  }
  EXPECT_FALSE(opener_->canOpenURL(std::nullopt));
}

TEST_F(Links, TheOldWayAnswersAtOnce) {
  EXPECT_TRUE(opener_->openURL(url("tickets://old")));
  EXPECT_TRUE(waitUntil([&] { return wasStarted("tickets"); }));
  EXPECT_EQ(argumentsOf("tickets"), std::vector<std::string>{"tickets://old"});
  EXPECT_FALSE(opener_->openURL(url("unknown:x")));
  EXPECT_FALSE(opener_->openURL(url("file:///etc/passwd")));
}

TEST_F(Links, HostileTextReachesTheProgramAsOneArgumentOrNotAtAll) {
  const std::string mark = (folder_ / "owned").string();
  const std::string kLinks[] = {
      "tickets://$(touch$IFS" + mark + ")",
      "tickets:;touch%20" + mark,
      "tickets:'&&touch%20" + mark + "&&'",
      "tickets://x?a=1&b=%25u%22%20--help",
      "tickets:-rf",
      "tickets:%0A--help%00",
      "tickets:" + std::string(120000, 'a'),
  };
  for (const std::string& link : kLinks) {
    SCOPED_TRACE(link.substr(0, 80));
    const auto made = base::Url::URLWithString(link);
    if (!made) continue;  // no URL at all: it gets nowhere
    ASSERT_TRUE(open(*made, false));
    ASSERT_TRUE(waitUntil([&] { return wasStarted("tickets"); }));
    EXPECT_EQ(argumentsOf("tickets"), std::vector<std::string>{link});
    std::filesystem::remove(folder_ / "records/tickets");
  }
  EXPECT_FALSE(std::filesystem::exists(mark));
}

TEST_F(Links, OneTooLongForAProgramIsNotOpened) {
  const auto link = url("tickets:" + std::string(7u << 20, 'a'));
  EXPECT_TRUE(opener_->canOpenURL(link));
  EXPECT_FALSE(open(link, false));
  EXPECT_FALSE(open(link, true));
  EXPECT_FALSE(opener_->openURL(link));
  EXPECT_FALSE(wasStarted("tickets"));
}

TEST_F(Links, AProgramThatIsGoneIsNoHandler) {
  addApplication("gone", "MimeType=x-scheme-handler/gone;");
  setHandler("gone", "gone");
  std::filesystem::remove(folder_ / "gone.sh");
  EXPECT_FALSE(opener_->canOpenURL(url("gone:x")));
  EXPECT_FALSE(open(url("gone:x"), false));
}

}  // namespace
}  // namespace tidewell::desktop

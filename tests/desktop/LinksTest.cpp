// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

class Links : public DesktopTest {
 protected:
  void SetUp() override {
    addApplication("tickets", {"tickets"});
    addApplication("browser", {"https", "http"});
    addApplication("files", {"file", "javascript", "data"});
    addApplication("maps", {}, "X-Tidewell-UniversalLinks=Maps.example;other.example;");
    addApplication("zz-maps", {}, "X-Tidewell-UniversalLinks=maps.example;");
    addApplication("deaf", {"deaf"}, "X-Tidewell-UniversalLinks=deaf.example;", "");
    addApplication("gone", {"gone"});
    std::filesystem::remove(folder_ / "gone.sh");
    opener_ = &install().linkOpener();
  }

  /// The completion's answer. Expects one completion, after the call has returned.
  bool open(const base::Url& link, bool universalLinksOnly) {
    std::vector<bool> answers;
    bool isOver = false;
    auto& queue = platform::Platform::current().mainQueue();
    opener_->openURL(link, {universalLinksOnly}, [&](bool isOpened) {
      EXPECT_TRUE(queue.isCurrent());
      answers.push_back(isOpened);
      queue.async([&] { isOver = true; });
    });
    EXPECT_TRUE(answers.empty());
    EXPECT_TRUE(waitUntil([&] { return isOver; }));
    EXPECT_EQ(answers.size(), 1u);
    return answers.at(0);
  }

  platform::LinkOpener* opener_ = nullptr;
};

TEST_F(Links, OpenOnlyInTheRegisteredProgram) {
  const std::string mark = (folder_ / "owned").string();
  struct Case {
    std::string link;
    const char* handler;             ///< of the scheme
    const char* claimant = nullptr;  ///< of the host
  };
  const Case cases[] = {
      {"tickets://events/4711?seat=4B#x", "tickets"},
      {"https://shop.example/", "browser"},
      {"https://maps.example/pier", "browser", "maps"},
      {"HTTP://MAPS.EXAMPLE:8080/pier", "browser", "maps"},
      {"https://sub.maps.example/", "browser"},
      {"https://maps.example@evil.example/", "browser"},
      {"https://deaf.example/", "browser"},
      // Hostile text is passed as one argument.
      {"tickets://$(touch$IFS" + mark + ")", "tickets"},
      {"tickets:;touch%20" + mark, "tickets"},
      {"tickets:'&&touch%20" + mark + "&&'", "tickets"},
      {"tickets://x?a=1&b=%25u%22%20--help", "tickets"},
      {"tickets:-rf", "tickets"},
      {"tickets:%0A--help%00", "tickets"},
      {"tickets:" + std::string(120000, 'a'), "tickets"},
      {"deaf://x", nullptr},
      {"gone:x", nullptr},
      {"unknown:x", nullptr},
      {"relative/path", nullptr},
      {"--help", nullptr},
      {"FILE:///etc/passwd", nullptr},
      {"javascript:alert(1)", nullptr},
      {"data:text/html,x", nullptr},
  };
  enum Way { kModern, kUniversal, kOld };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.link.substr(0, 80));
    const auto link = url(each.link);
    EXPECT_EQ(opener_->canOpenURL(link), each.handler != nullptr);
    for (const Way way : {kModern, kUniversal, kOld}) {
      const char* const expected = way == kUniversal ? each.claimant : each.handler;
      EXPECT_EQ(way == kOld ? opener_->openURL(link) : open(link, way == kUniversal), expected != nullptr);
      if (expected) {
        EXPECT_TRUE(waitUntil([&] { return !argumentsOf(expected).empty(); }));
        EXPECT_EQ(argumentsOf(expected), each.link + '\0');
        std::filesystem::remove(folder_ / "records" / expected);
      }
      EXPECT_TRUE(std::filesystem::is_empty(folder_ / "records"));
    }
  }
  EXPECT_FALSE(opener_->canOpenURL(std::nullopt));
  EXPECT_FALSE(std::filesystem::exists(mark));
  const auto tooLong = url("tickets:" + std::string(7u << 20, 'a'));
  EXPECT_FALSE(open(tooLong, false) || opener_->openURL(tooLong));
  EXPECT_EQ(argumentsOf("tickets"), "");
}

}  // namespace
}  // namespace tidewell::desktop

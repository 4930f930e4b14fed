#include <optional>
#include <thread>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

using platform::AlertActionStyle;
using platform::Presenter;
using platform::Shown;

class Alerts : public DesktopTest {
 protected:
  Presenter& presenter_ = install().presenter();

  Shown show(platform::AlertContent content, Shown above = {}) {
    return presenter_.showAlert(
        std::move(content), [this](std::size_t index) { chosen_.push_back(index); }, above);
  }
  bool waitForChoice(std::size_t index) {
    return waitUntil([&] { return !chosen_.empty(); }) && chosen_ == std::vector<std::size_t>{index};
  }
  std::vector<std::size_t> chosen_;
};

TEST_F(Alerts, ShowTitleMessageAndButtonsAndTellTheChoice) {
  openHostWindow();
  show({"Order <b>4711</b>", "Ready & waiting", {{"Later", AlertActionStyle::cancel}, {"Go", {}}}});
  ASSERT_TRUE(waitForWindows(1));
  GtkWindow* const alert = shownWindows()[0];
  EXPECT_EQ(textOn(alert), "Order <b>4711</b>\nReady & waiting\nLater\nGo\n");
  EXPECT_TRUE(gtk_window_get_modal(alert));
  EXPECT_STREQ(gtk_window_get_title(gtk_window_get_transient_for(alert)), "host");
  ASSERT_TRUE(press(alert, "Go"));
  EXPECT_TRUE(chosen_.empty()) << "while the button was pressed";
  EXPECT_TRUE(waitForChoice(1));
  EXPECT_TRUE(waitForWindows(0));
}

TEST_F(Alerts, ClosingChoosesTheButtonThatCancelsOrTheOnlyOne) {
  struct Case {
    std::vector<platform::AlertAction> actions;
    std::optional<std::size_t> choice;
  };
  const Case kCases[] = {
      {{{"OK", {}}}, 0},
      {{{"Delete", AlertActionStyle::destructive}, {"Keep", AlertActionStyle::cancel}}, 1},
      {{{"Left", {}}, {"Right", {}}}, std::nullopt},
  };
  openHostWindow();
  for (const Case& each : kCases) {
    chosen_.clear();
    const Shown alert = show({"Title", std::nullopt, each.actions});
    ASSERT_TRUE(waitForWindows(1));
    gtk_window_close(shownWindows()[0]);
    if (each.choice) {
      EXPECT_TRUE(waitForChoice(*each.choice));
      EXPECT_TRUE(waitForWindows(0));
    } else {
      runFor(0.1);
      EXPECT_EQ(shownWindows().size(), 1u);
      presenter_.dismiss(alert, true, {});
      EXPECT_TRUE(waitForWindows(0));
      EXPECT_TRUE(chosen_.empty());
    }
  }
}

TEST_F(Alerts, SurviveAnyText) {
  openHostWindow();
  const std::string kTexts[] = {
      std::string(1u << 20, 'x'), "\xff\xfe\x80",     std::string("a\0b", 3), "", "\n\n\n",
      "<markup attr='",           "\xe2\x80\xae evil"};
  for (const std::string& text : kTexts) {
    const Shown alert = show({text, text, {{text, {}}}});
    ASSERT_TRUE(waitForWindows(1));
    EXPECT_LT(textOn(shownWindows()[0]).size(), 20000u);
    presenter_.dismiss(alert, false, {});
    ASSERT_TRUE(waitForWindows(0));
  }
}

TEST_F(Alerts, DismissalTellsNobodyButWhoDismissed) {
  openHostWindow();
  const Shown alert = show({"Title", "Message", {{"OK", {}}}});
  int done = 0;
  presenter_.dismiss(alert, true, [&] { ++done; });  // before anything was drawn
  EXPECT_EQ(done, 0);
  presenter_.dismiss(alert, true, [&] { ++done; });
  presenter_.dismiss(Shown::nothing, true, [&] { ++done; });
  EXPECT_TRUE(waitUntil([&] { return done == 3; }));
  EXPECT_TRUE(shownWindows().empty());
  EXPECT_TRUE(chosen_.empty());
}

TEST_F(Alerts, AreShownWithoutAnyWindowOfTheHosts) {
  show({"Title", "Message", {{"OK", {}}}});
  ASSERT_TRUE(waitForWindows(1));
  ASSERT_TRUE(press(shownWindows()[0], "OK"));
  EXPECT_TRUE(waitForChoice(0));
}

TEST_F(Alerts, TheScreenHasTheSizeOfTheMonitorOnEveryThread) {
  EXPECT_EQ(presenter_.screenSize(), (platform::ScreenSize{1280, 800}));
  platform::ScreenSize elsewhere;
  std::thread([&] { elsewhere = presenter_.screenSize(); }).join();
  EXPECT_EQ(elsewhere, (platform::ScreenSize{1280, 800}));
}

}  // namespace
}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

using platform::AlertActionStyle;
using platform::Shown;

class Alerts : public DesktopTest {
 protected:
  platform::Presenter& presenter_ = install().presenter();

  Shown show(platform::AlertContent content) {
    return presenter_.showAlert(std::move(content), [this](std::size_t index) { chosen_.push_back(index); },
                                {});
  }
  std::vector<std::size_t> chosen_;
};

TEST_F(Alerts, ShowTitleMessageAndButtonsAndReportTheChoice) {
  openHostWindow();
  show({"Order <b>4711</b>", "Ready & waiting", {{"Later", AlertActionStyle::cancel}, {"Go", {}}}});
  ASSERT_TRUE(waitForWindows(1));
  GtkWindow* const alert = shownWindows()[0];
  EXPECT_EQ(textOn(alert), "Order <b>4711</b>\nReady & waiting\nLater\nGo\n");
  EXPECT_TRUE(gtk_window_get_modal(alert));
  EXPECT_STREQ(gtk_window_get_title(gtk_window_get_transient_for(alert)), "host");
  ASSERT_TRUE(press(alert, "Go"));
  EXPECT_TRUE(chosen_.empty()) << "reported only after the button's handler";
  EXPECT_TRUE(waitForWindows(0));
  EXPECT_TRUE(waitUntil([&] { return chosen_ == std::vector<std::size_t>{1}; }));
}

TEST_F(Alerts, ClosingSelectsTheCancelOrOnlyButton) {
  struct Case {
    std::vector<platform::AlertAction> actions;
    std::optional<std::size_t> choice;
  };
  for (const Case& each :
       {Case{{{"OK", {}}}, 0},
        Case{{{"Delete", AlertActionStyle::destructive}, {"Keep", AlertActionStyle::cancel}}, 1},
        Case{{{"Left", {}}, {"Right", {}}}, std::nullopt}}) {
    chosen_.clear();
    const Shown alert = show({"Title", std::nullopt, each.actions});
    ASSERT_TRUE(waitForWindows(1));
    gtk_window_close(shownWindows()[0]);
    EXPECT_EQ(shownWindows().size(), each.choice ? 0u : 1u);
    bool isDone = false;
    presenter_.dismiss(alert, true, [&] { isDone = true; });
    EXPECT_TRUE(waitUntil([&] { return isDone; }));
    EXPECT_TRUE(shownWindows().empty());
    EXPECT_EQ(chosen_, each.choice ? std::vector{*each.choice} : std::vector<std::size_t>());
  }
}

TEST_F(Alerts, SurviveAnyTextAndEarlyDismissal) {
  for (const std::string& text :
       {std::string(1u << 20, 'x'), std::string("\xff\xfe\x80"), std::string("a\0b", 3), std::string(),
        std::string("<markup attr='"), std::string("\xe2\x80\xae evil")}) {
    const Shown alert = show({text, text, {{text, {}}}});
    ASSERT_TRUE(waitForWindows(1));
    EXPECT_LT(textOn(shownWindows()[0]).size(), 20000u);
    presenter_.dismiss(alert, false, {});
    ASSERT_TRUE(waitForWindows(0));
  }
  const Shown alert = show({"Title", "Message", {{"OK", {}}}});
  int done = 0;
  for (const Shown each : {alert, alert, Shown::nothing}) presenter_.dismiss(each, true, [&] { ++done; });
  EXPECT_EQ(done, 0);
  EXPECT_TRUE(waitUntil([&] { return done == 3; }));
  EXPECT_TRUE(shownWindows().empty());
  EXPECT_TRUE(chosen_.empty());
}

}  // namespace
}  // namespace tidewell::desktop

#include <utility>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

class Foreground : public DesktopTest {
 protected:
  void SetUp() override {
    auto& center = platform::NotificationCenter::defaultCenter();
    center.addObserver(platform::UIApplicationWillEnterForegroundNotification,
                       [this](const auto&) { heard_ += "+"; });
    center.addObserver(platform::UIApplicationDidEnterBackgroundNotification,
                       [this](const auto&) { heard_ += "-"; });
  }
  std::string heard_;
};

TEST_F(Foreground, FollowsTheApplicationsWindowsAndTakesTheFirstForItsLaunch) {
  install();
  GtkWindow* const window = openHostWindow();
  runFor(0.3);
  EXPECT_EQ(heard_, "");
  gtk_widget_set_visible(GTK_WIDGET(window), FALSE);
  EXPECT_TRUE(waitUntil([&] { return heard_ == "-"; })) << heard_;
  gtk_window_present(window);
  EXPECT_TRUE(waitUntil([&] { return heard_ == "-+"; })) << heard_;
}

TEST_F(Foreground, FromOneWindowToTheNextTheApplicationDoesNotLeave) {
  install();
  GtkWindow* window = openHostWindow();
  for (int i = 0; i < 5; ++i) {
    GtkWindow* const next = openHostWindow();
    gtk_window_destroy(std::exchange(window, next));
    EXPECT_TRUE(waitUntil([&] { return gtk_window_is_active(window); }));
  }
  auto& presenter = platform::Platform::current().presenter();
  const auto alert = presenter.showAlert({"Title", "Message", {{"OK", {}}}}, {}, {});
  EXPECT_TRUE(waitForWindows(1));
  presenter.dismiss(alert, false, {});
  EXPECT_TRUE(waitUntil([&] { return gtk_window_is_active(window); }));
  runFor(0.3);
  EXPECT_EQ(heard_, "");
}

TEST_F(Foreground, IsTheHostsToSayWhereItHasNoGtkWindows) {
  auto& platform = install([](Options& options) { options.followsWindows = false; });
  GtkWindow* const window = openHostWindow();
  gtk_widget_set_visible(GTK_WIDGET(window), FALSE);
  runFor(0.3);
  EXPECT_EQ(heard_, "");
  platform.enterBackground();
  platform.enterForeground();
  EXPECT_TRUE(waitUntil([&] { return heard_ == "-+"; }));
}

}  // namespace
}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <optional>
#include <thread>
#include <utility>

#include "DesktopTest.h"
#include "tidewell/core/TidewellCore.h"

namespace tidewell::desktop {
namespace {

/// Records foreground ('+') and background ('-') notifications.
class Platform : public DesktopTest {
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

TEST_F(Platform, TheMainQueueUsesGlibAndTheScreenSizeIsTheMonitors) {
  auto& platform = install();
  auto& queue = platform.mainQueue();
  std::string order;
  queue.async([&] {
    order += queue.isCurrent() ? "a" : "?";
    queue.async([&] { order += "c"; });
    throw 1;
  });
  std::atomic<bool> ranElsewhere{false};
  platform.globalQueue().async([&] { ranElsewhere = !queue.isCurrent(); });
  platform::ScreenSize elsewhere;
  std::thread([&] {
    EXPECT_FALSE(queue.isCurrent());
    queue.async([&] { order += "b"; });
    elsewhere = platform.presenter().screenSize();
  }).join();
  EXPECT_EQ(order, "");
  EXPECT_TRUE(waitUntil([&] { return order == "abc" && ranElsewhere; })) << order;
  EXPECT_EQ(elsewhere, (platform::ScreenSize{1280, 800}));
}

TEST_F(Platform, LinksStillOpenWithoutADisplay) {
  int ends[2];
  ASSERT_TRUE(pipe(ends) == 0 && close(ends[0]) == 0);
  const int errors = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);  // has no reader
  EXPECT_EQ(desktop::install(Options{}), nullptr) << "no application name is given";
  dup2(errors, STDERR_FILENO);
  Options negative;
  negative.posix().setBundleIdentifier("org.example.shop").setVersion("1");
  EXPECT_EQ(complaintAbout(negative), "");
  EXPECT_EQ(complaintAbout(negative.setPageTimeout(-1)),
            "setPageTimeout: \"-1.000000\" is not a time above 0, in seconds");
  for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY", "GDK_BACKEND"}) unsetenv(name);
  addApplication("tickets", {"tickets"});
  auto& platform = install([](Options& options) { options.posix().setScreenSize({320, 200}); });
  auto& presenter = platform.presenter();
  EXPECT_EQ(presenter.showAlert({"Title", "Message", {{"OK", {}}}}, {}, {}), platform::Shown::nothing);
  EXPECT_EQ(presenter.showBrowser(url("https://shop.example/"), {}, {}), platform::Shown::nothing);
  EXPECT_EQ(presenter.screenSize(), (platform::ScreenSize{320, 200}));
  bool isDone = false;
  presenter.dismiss({}, true, [&] { isDone = true; });
  std::optional<bool> isOpened;
  platform.linkOpener().openURL(url("tickets:x"), {}, [&](bool opened) { isOpened = opened; });
  EXPECT_TRUE(waitUntil([&] { return isDone && isOpened && !argumentsOf("tickets").empty(); }));
}

TEST_F(Platform, ForegroundFollowsWindowsAfterTheFirstAppearance) {
  auto& presenter = install().presenter();
  GtkWindow* window = openHostWindow();
  for (int i = 0; i < 5; ++i) {
    GtkWindow* const next = openHostWindow();
    gtk_window_destroy(std::exchange(window, next));
    EXPECT_TRUE(waitUntil([&] { return gtk_window_is_active(window); }));
  }
  const auto alert = presenter.showAlert({"Title", "Message", {{"OK", {}}}}, {}, {});
  EXPECT_TRUE(waitForWindows(1));
  presenter.dismiss(alert, false, {});
  EXPECT_TRUE(waitUntil([&] { return gtk_window_is_active(window); }));
  gtk_widget_set_visible(GTK_WIDGET(window), FALSE);
  EXPECT_TRUE(waitUntil([&] { return heard_ == "-"; })) << heard_;
  gtk_window_present(window);
  EXPECT_TRUE(waitUntil([&] { return heard_ == "-+"; })) << heard_;
}

TEST_F(Platform, HostsWithoutGtkWindowsReportForegroundThemselves) {
  auto& platform = install([](Options& options) { options.setFollowsWindows(false); });
  gtk_widget_set_visible(GTK_WIDGET(openHostWindow()), FALSE);
  waitUntil([] { return false; }, 0.3);
  platform.enterBackground();
  platform.enterForeground();
  EXPECT_TRUE(waitUntil([&] { return heard_ == "-+"; })) << heard_;
}

TEST_F(Platform, ADisabledPlatformIsNotInstalledAndLeavesNoTrace) {
  setenv("TIDEWELL_DISABLED", "1", 1);
  ASSERT_TRUE(gtk_init_check());
  auto& off = install([](Options& options) { options.setUsesSecretService(true); });
  EXPECT_TRUE(off.isDisabled());
  EXPECT_FALSE(platform::Platform::isInstalled());
  TidewellCore::sharedInstance().initializeWithAppID("SHOP");
  bool hasRun = false;
  off.mainQueue().async([&] { hasRun = true; });
  EXPECT_TRUE(waitUntil([&] { return hasRun; })) << "a host's own functions";
  openHostWindow();
  EXPECT_EQ(off.presenter().showAlert({"Title", "Message", {{"OK", {}}}}, {}, {}), platform::Shown::nothing);
  base::Data data;
  EXPECT_EQ(
      off.keychain().itemCopyMatching({{platform::kSecClass, platform::kSecClassGenericPassword}}, data),
      platform::errSecItemNotFound);
  EXPECT_EQ(heard_, "") << "windows are not followed";
  const std::filesystem::directory_iterator files(folder_ / "data");
  EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "the test's own folder";
}

}  // namespace
}  // namespace tidewell::desktop

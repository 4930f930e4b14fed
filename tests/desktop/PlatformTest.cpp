#include <optional>
#include <thread>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

class Platform : public DesktopTest {};

TEST_F(Platform, TheMainQueueIsGlibsAndHoldsTheOrder) {
  auto& queue = install().mainQueue();
  std::string order;
  EXPECT_TRUE(queue.isCurrent());
  queue.async([&] {
    order += "a";
    EXPECT_TRUE(queue.isCurrent());
    queue.async([&] { order += "c"; });
    throw 1;
  });
  std::thread([&] {
    EXPECT_FALSE(queue.isCurrent());
    queue.async([&] { order += "b"; });
  }).join();
  EXPECT_EQ(order, "");
  EXPECT_TRUE(waitUntil([&] { return order.size() == 3; }));
  EXPECT_EQ(order, "abc");
}

TEST_F(Platform, WithoutADisplayItShowsNothingAndWorksAllTheSame) {
  for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY", "GDK_BACKEND"}) unsetenv(name);
  addApplication("tickets", "MimeType=x-scheme-handler/tickets;");
  setHandler("tickets", "tickets");
  auto& platform = install([](Options& options) { options.posix.screenSize = {320, 200}; });
  auto& presenter = platform.presenter();
  EXPECT_EQ(presenter.showAlert({"Title", "Message", {{"OK", {}}}}, {}, {}), platform::Shown::nothing);
  EXPECT_EQ(presenter.showBrowser(url("https://shop.example/"), {}, {}), platform::Shown::nothing);
  EXPECT_EQ(presenter.screenSize(), (platform::ScreenSize{320, 200}));
  bool isDone = false;
  presenter.dismiss({}, true, [&] { isDone = true; });
  EXPECT_TRUE(waitUntil([&] { return isDone; }));
  std::optional<bool> isOpened;
  platform.linkOpener().openURL(url("tickets:x"), {}, [&](bool opened) { isOpened = opened; });
  EXPECT_TRUE(waitUntil([&] { return isOpened && wasStarted("tickets"); }));
}

TEST_F(Platform, OptionsThatNameNoApplicationAreRefused) {
  EXPECT_EQ(desktop::install(Options{}), nullptr);
  EXPECT_FALSE(platform::Platform::isInstalled());
}

}  // namespace
}  // namespace tidewell::desktop

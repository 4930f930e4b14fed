// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "../../examples/desktop/TunnelProxy.h"
#include "DesktopTest.h"
#include "Fault.h"
#include "tidewell/testing/StandInBackend.h"

namespace tidewell::desktop {
namespace {

using platform::Presenter;
using platform::Shown;

constexpr const char* kPage = "https://shop.example/";

class Browser : public DesktopTest {
 protected:
  ~Browser() override {  // closes the windows first, since their pages use the proxy
    for (GtkWindow* const window : shownWindows()) gtk_window_destroy(window);
    waitForWindows(0);
  }
  static testing::StandInBackendOptions backendOptions() {
    testing::StandInBackendOptions options;
    options.extraHosts = {"shop.example"};
    return options;
  }
  void installWith(double pageTimeout = 120) {
    page("/", "Welcome");
    presenter_ = &install([&](Options& options) {
                    options.posix().setCaFile(backend_.caFile());
                    options.posix().setProxy(proxy_.address());
                    options.setPageTimeout(pageTimeout);
                  }).presenter();
    host_ = openHostWindow();
  }
  void page(const std::string& path, const std::string& title, const std::string& body = "") {
    backend_.setResource(path, "<!doctype html><title>" + title + "</title><body>" + body, "text/html");
  }
  Shown open(const std::string& path, Shown above = {}) {
    return presenter_->showBrowser(url("https://shop.example" + path), {[this] { ++finished_; }}, above);
  }
  /// The window whose page has this title, or null after the time-out.
  static GtkWindow* windowTitled(const std::string& title) {
    GtkWindow* found = nullptr;
    waitUntil([&] {
      for (GtkWindow* const each : shownWindows()) {
        if (title == textOrEmpty(gtk_window_get_title(each))) found = each;
      }
      return found != nullptr;
    });
    return found;
  }
  /// Opens an address and waits until its window shows a text. Returns the window, or null after the
  /// time-out.
  GtkWindow* openShowing(const std::string& address, const std::string& text) {
    presenter_->showBrowser(url(address), {[this] { ++finished_; }}, {});
    GtkWindow* const window = waitForWindows(1) ? shownWindows()[0] : nullptr;
    EXPECT_TRUE(window && waitUntil([&] { return shows(window, text); })) << text;
    return window;
  }
  testing::StandInBackend backend_{backendOptions()};
  TunnelProxy proxy_{backend_.port(), [](const std::string& host) { return host == "shop.example"; }};
  Presenter* presenter_ = nullptr;
  GtkWindow* host_ = nullptr;
  int finished_ = 0;
};

TEST_F(Browser, ShowsAPageAndItsAddressUntilItIsClosed) {
  installWith();
  GtkWindow* const window = openShowing(kPage, "shop.example");
  ASSERT_EQ(windowTitled("Welcome"), window);
  EXPECT_EQ(gtk_window_get_transient_for(window), host_);
  EXPECT_FALSE(press(window, "Back"));
  ASSERT_TRUE(press(window, "Done"));
  EXPECT_EQ(finished_, 0) << "reported only after the button's handler";
  EXPECT_TRUE(waitUntil([&] { return finished_ == 1; }));
  EXPECT_TRUE(waitForWindows(0));
  const Shown second = open("/");
  ASSERT_NE(windowTitled("Welcome"), nullptr);
  gtk_window_close(shownWindows()[0]);  // by the window manager
  EXPECT_TRUE(waitUntil([&] { return finished_ == 2; }));
  bool isDone = false;
  presenter_->dismiss(second, true, [&] { isDone = true; });
  EXPECT_TRUE(waitUntil([&] { return isDone; }));
  EXPECT_EQ(finished_, 2);
  for (const char* const each :
       {"file:///etc/passwd", "javascript:1", "data:text/html,x", "about:blank", "x"}) {
    EXPECT_EQ(presenter_->showBrowser(url(each), {}, {}), Shown::nothing) << each;
  }
  EXPECT_TRUE(shownWindows().empty());
}

TEST_F(Browser, StaysBelowAlertsAndClosesWithTheHostsWindow) {
  installWith();
  page("/second", "Second");
  presenter_->dismiss(open("/"), true, {});  // before the engine is loaded
  EXPECT_TRUE(waitForWindows(0));
  std::size_t chosen = 7;
  const auto alert = [&](Shown above) {
    presenter_->showAlert(
        {"Alert", "Above", {{"OK", {}}}}, [&](std::size_t index) { chosen = index; }, above);
    return windowTitled("Alert");
  };
  GtkWindow* const above = alert({});
  const Shown first = open("/"), second = open("/second");
  ASSERT_NE(windowTitled("Second"), nullptr);
  GtkWindow* const window = windowTitled("Welcome");
  presenter_->dismiss(second, true, {});
  EXPECT_TRUE(waitUntil([&] { return gtk_window_get_transient_for(above) == window; }));
  presenter_->dismiss(first, true, {});
  EXPECT_TRUE(waitForWindows(1));
  ASSERT_TRUE(press(above, "OK"));
  EXPECT_TRUE(waitUntil([&] { return chosen == 0; }));
  EXPECT_EQ(finished_, 0);

  const Shown third = open("/");
  ASSERT_NE(windowTitled("Welcome"), nullptr);
  ASSERT_NE(alert(third), nullptr);
  gtk_window_destroy(host_);
  EXPECT_TRUE(waitUntil([&] { return finished_ == 1 && chosen == Presenter::kNoAction; }));
  EXPECT_TRUE(waitForWindows(0));
}

TEST_F(Browser, ShowsErrorsAndRetries) {
  installWith();
  backend_.setResource("/file", "MZ", "application/octet-stream");
  const std::string page = kPage;
  const std::string cases[][3] = {
      {"kind=redirect,path=/loop", page + "loop", "The page could not be loaded"},
      {"kind=wrong-authority", page, "The connection is not private"},
      {"kind=expired", page, "The connection is not private"},
      {"kind=empty,path=/none", page + "file", "There is nothing to show here"},
      {"kind=empty,path=/none", "https://elsewhere.example/", "elsewhere.example could not be reached"},
      {"kind=reset", page, "The page could not be loaded"},
  };
  GtkWindow* window = nullptr;
  for (const auto& [fault, address, text] : cases) {
    if (window) gtk_window_close(window);
    ASSERT_TRUE(waitForWindows(0));
    backend_.setFault(testing::fault(fault));
    ASSERT_NE(window = openShowing(address, text), nullptr);
  }
  backend_.clearFaults();
  ASSERT_TRUE(press(window, "Try Again"));
  EXPECT_EQ(windowTitled("Welcome"), window);
  EXPECT_FALSE(shows(window, "Try Again"));
}

TEST_F(Browser, GivesUpOnAPageThatStaysBlank) {
  installWith(0.5);
  backend_.setFault(testing::fault("kind=silence"));
  openShowing(kPage, "The page takes too long");
}

TEST_F(Browser, ConfinesHostilePagesAndKeepsNoDataBetweenPages) {
  addApplication("tickets", {"tickets"});
  installWith();
  page("/hostile", "Hostile", R"(<script>
    const before = document.cookie + localStorage.getItem('a');
    document.cookie = 'a=1; max-age=999'; localStorage.setItem('a', 'b');
    window.open('/popup'); window.open('file:///etc/passwd');
    const a = document.createElement('a'); a.href = '/download'; a.download = 'evil'; document.body.append(a);
    a.click(); document.documentElement.requestFullscreen?.()?.catch(() => {}); print();
    let granted = '';
    navigator.geolocation?.getCurrentPosition(() => { granted = 'location' }, () => {});
    window.Notification?.requestPermission()?.then(p => { if (p == 'granted') granted += p });
    location.href = 'tickets://without-a-click';
    setTimeout(() => { document.title = before + ' ' + document.cookie + granted }, 700)</script>)");
  backend_.setResource("/download", "MZ", "application/octet-stream");
  for (int i = 0; i < 2; ++i) {
    const Shown shown = open("/hostile");
    GtkWindow* const window = windowTitled("null a=1");
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(shownWindows().size(), 1u);
    EXPECT_FALSE(gtk_window_is_fullscreen(window));
    presenter_->dismiss(shown, false, {});
    ASSERT_TRUE(waitForWindows(0));
  }
  for (const auto& request : backend_.requests()) EXPECT_NE(request.path, "/popup");
  EXPECT_EQ(argumentsOf("tickets"), "");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
    EXPECT_EQ(entry.path().filename().string().find("evil"), std::string::npos) << entry.path();
  }
}

TEST_F(Browser, OpensNoPagesWithoutASandbox) {
  // A `bwrap` that cannot build a sandbox, as in many containers.
  std::filesystem::create_directories(folder_ / "bin");
  std::ofstream(folder_ / "bin/bwrap") << "#!/bin/sh\nexit 1\n";
  std::filesystem::permissions(folder_ / "bin/bwrap", std::filesystem::perms::owner_all);
  setenv("PATH", ((folder_ / "bin").string() + ":" + getenv("PATH")).c_str(), 1);
  unsetenv("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS");
  installWith();
  GtkWindow* const window = openShowing(kPage, "Pages cannot be shown");
  EXPECT_EQ(backend_.requestCount(), 0u);
  ASSERT_TRUE(press(window, "Done"));
  EXPECT_TRUE(waitUntil([&] { return finished_ == 1; }));
}

}  // namespace
}  // namespace tidewell::desktop

#include <map>
#include <memory>

#include "../../examples/desktop/TunnelProxy.h"
#include "DesktopTest.h"
#include "tidewell/testing/StandInBackend.h"

namespace tidewell::desktop {
namespace {

using platform::Presenter;
using platform::Shown;
using testing::StandInFault;
using testing::StandInFaultKind;

constexpr const char* kHost = "shop.example";

class Browser : public DesktopTest {
 protected:
  void SetUp() override {
    testing::StandInBackendOptions options;
    options.extraHosts = {kHost};
    backend_ = std::make_unique<testing::StandInBackend>(options);
    proxy_ = std::make_unique<TunnelProxy>(backend_->port(),
                                           [](const std::string& host) { return host == kHost; });
    page("/", "Welcome");
  }
  void TearDown() override {
    // The windows first: their pages use the proxy.
    for (GtkWindow* const window : shownWindows()) gtk_window_destroy(window);
    runFor(0.05);
  }

  void installWith(const std::function<void(Options&)>& change = {}) {
    presenter_ = &install([&](Options& options) {
                    options.posix.caFile = backend_->caFile();
                    options.posix.proxy = proxy_->address();
                    if (change) change(options);
                  }).presenter();
  }
  void page(const std::string& path, const std::string& title, const std::string& body = "") {
    backend_->setResource(path, "<!doctype html><title>" + title + "</title><body>" + body, "text/html");
  }
  void fault(StandInFaultKind kind, const std::string& path = "") {
    StandInFault one;
    one.kind = kind;
    one.path = path;
    backend_->setFault(one);
  }
  Shown open(const std::string& path, Shown above = {}) {
    return presenter_->showBrowser(url("https://" + std::string(kHost) + path), {[this] { ++finished_; }},
                                   above);
  }
  /// The window whose page has a title; null where there is none in time.
  GtkWindow* windowTitled(const std::string& title) {
    GtkWindow* found = nullptr;
    waitUntil([&] {
      for (GtkWindow* const each : shownWindows()) {
        if (title == textOrEmpty(gtk_window_get_title(each))) found = each;
      }
      return found != nullptr;
    });
    return found;
  }
  /// Opens a page that cannot be shown, and answers what the user reads in its place.
  std::string problemOf(const std::string& path) {
    open(path);
    GtkWindow* window = nullptr;
    waitUntil([&] {
      window = shownWindows().empty() ? nullptr : shownWindows().back();
      return window && shows(window, "Try Again");
    });
    return window ? textOn(window) : "";
  }
  [[nodiscard]] std::size_t requestsFor(const std::string& path) const {
    std::size_t count = 0;
    for (const auto& request : backend_->requests()) count += request.path == path ? 1 : 0;
    return count;
  }

  std::unique_ptr<testing::StandInBackend> backend_;
  std::unique_ptr<TunnelProxy> proxy_;
  Presenter* presenter_ = nullptr;
  int finished_ = 0;
};

TEST_F(Browser, ShowsAPageWithItsAddressUntilTheUserIsDone) {
  installWith();
  GtkWindow* const host = openHostWindow();
  ASSERT_NE(open("/"), Shown::nothing);
  GtkWindow* const window = windowTitled("Welcome");
  ASSERT_NE(window, nullptr);
  EXPECT_TRUE(waitUntil([&] { return shows(window, "shop.example"); })) << textOn(window);
  EXPECT_EQ(gtk_window_get_transient_for(window), host);
  EXPECT_FALSE(press(window, "Back")) << "there is nothing to go back to";
  ASSERT_TRUE(press(window, "Done"));
  EXPECT_EQ(finished_, 0) << "while the button was pressed";
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
}

TEST_F(Browser, DismissalTakesAwayOnlyWhatWasMeantAndTellsNobodyElse) {
  installWith();
  page("/second", "Second");
  openHostWindow();
  presenter_->dismiss(open("/"), true, {});  // before the engine was there
  EXPECT_TRUE(waitForWindows(0));
  open("/");
  const Shown second = open("/second");
  ASSERT_NE(windowTitled("Second"), nullptr);
  ASSERT_NE(windowTitled("Welcome"), nullptr);
  presenter_->dismiss(second, true, {});
  EXPECT_TRUE(waitForWindows(1));
  EXPECT_EQ(windowTitled("Welcome"), shownWindows()[0]);
  EXPECT_EQ(finished_, 0);
}

TEST_F(Browser, StaysBeneathAnAlert) {
  installWith();
  openHostWindow();
  std::size_t chosen = Presenter::kNoAction;
  presenter_->showAlert({"Alert", "Above", {{"OK", {}}}}, [&](std::size_t index) { chosen = index; }, {});
  ASSERT_TRUE(waitForWindows(1));
  GtkWindow* const alert = shownWindows()[0];
  const Shown page = open("/");
  GtkWindow* const window = windowTitled("Welcome");
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(gtk_window_get_transient_for(alert), window);
  presenter_->dismiss(page, true, {});
  EXPECT_TRUE(waitForWindows(1));
  EXPECT_EQ(chosen, Presenter::kNoAction);
  ASSERT_TRUE(press(alert, "OK"));
  EXPECT_TRUE(waitUntil([&] { return chosen == 0; }));
}

TEST_F(Browser, GoesWithTheHostsWindow) {
  installWith();
  GtkWindow* const host = openHostWindow();
  const Shown page = open("/");
  ASSERT_NE(windowTitled("Welcome"), nullptr);
  std::size_t chosen = 7;
  presenter_->showAlert(
      {"Alert", "Above the page", {{"OK", {}}}}, [&](std::size_t index) { chosen = index; }, page);
  ASSERT_TRUE(waitForWindows(2));
  gtk_window_destroy(host);
  EXPECT_TRUE(waitUntil([&] { return finished_ == 1 && chosen == Presenter::kNoAction; }));
  EXPECT_TRUE(waitForWindows(0));
}

TEST_F(Browser, ShowsNothingButTheWeb) {
  installWith();
  openHostWindow();
  for (const char* const each :
       {"file:///etc/passwd", "javascript:1", "data:text/html,x", "about:blank", "x"}) {
    EXPECT_EQ(presenter_->showBrowser(url(each), {}, {}), Shown::nothing) << each;
  }
  runFor(0.05);
  EXPECT_TRUE(shownWindows().empty());
}

TEST_F(Browser, SaysWhatIsWrongWithAPageThatCannotBeShownAndTriesAgainWhenAsked) {
  installWith([](Options& options) { options.pageTimeout = 1.5; });
  openHostWindow();
  backend_->setResource("/file", "MZ", "application/octet-stream");
  struct Case {
    StandInFaultKind kind;
    const char* path;
    const char* text;
  };
  constexpr Case kCases[] = {
      {StandInFaultKind::redirect, "/loop", "The page could not be loaded"},
      {StandInFaultKind::silence, "/silence", "The page takes too long"},
      {StandInFaultKind::wrongAuthority, "/", "The connection is not private"},
      {StandInFaultKind::expired, "/", "The connection is not private"},
  };
  for (const Case& each : kCases) {
    SCOPED_TRACE(nameOfFaultKind(each.kind));
    fault(each.kind, std::string_view(each.path) == "/" ? "" : each.path);
    EXPECT_NE(problemOf(each.path).find(each.text), std::string::npos) << textOn(shownWindows().back());
    gtk_window_close(shownWindows().back());
    ASSERT_TRUE(waitForWindows(0));
  }
  fault(StandInFaultKind::reset);
  EXPECT_NE(problemOf("/").find("The page could not be loaded"), std::string::npos);
  GtkWindow* const again = shownWindows()[0];
  backend_->clearFaults();
  ASSERT_TRUE(press(again, "Try Again"));
  EXPECT_EQ(windowTitled("Welcome"), again);
  EXPECT_FALSE(shows(again, "Try Again"));
  gtk_window_close(again);
  ASSERT_TRUE(waitForWindows(0));
  EXPECT_NE(problemOf("/file").find("There is nothing to show here"), std::string::npos);
  gtk_window_close(shownWindows().back());
  ASSERT_TRUE(waitForWindows(0));
  presenter_->showBrowser(url("https://elsewhere.example/"), {}, {});  // the proxy has no way there
  ASSERT_TRUE(waitForWindows(1));
  GtkWindow* const window = shownWindows()[0];
  EXPECT_TRUE(waitUntil([&] { return shows(window, "elsewhere.example could not be reached"); }))
      << textOn(window);
}

TEST_F(Browser, GoesBackAndForward) {
  installWith();
  page("/", "First", "<script>setTimeout(() => { location.href = '/second' }, 300)</script>");
  page("/second", "Second");
  openHostWindow();
  open("/");
  GtkWindow* const window = windowTitled("Second");
  ASSERT_NE(window, nullptr);
  page("/", "First", "");
  if (!waitUntil([&] { return press(window, "Back"); }, 5))
    GTEST_SKIP() << "the engine skips what no user left";
  EXPECT_EQ(windowTitled("First"), window);
  ASSERT_TRUE(waitUntil([&] { return press(window, "Forward"); }));
  EXPECT_EQ(windowTitled("Second"), window);
}

TEST_F(Browser, AHostilePageStaysInItsFrame) {
  addApplication("tickets", "MimeType=x-scheme-handler/tickets;");
  setHandler("tickets", "tickets");
  installWith();
  page("/hostile", "Hostile",
       "<script>window.open('/popup'); window.open('file:///etc/passwd');"
       "const a = document.createElement('a'); a.href = '/download'; a.download = 'evil'; "
       "document.body.append(a);"
       "a.click(); document.documentElement.requestFullscreen?.()?.catch(() => {}); print();"
       "navigator.geolocation?.getCurrentPosition(() => { document.title = 'located' }, () => {});"
       "window.Notification?.requestPermission()?.then(p => { if (p == 'granted') document.title = "
       "'permitted' });"
       "location.href = 'tickets://without-a-click';"
       "setTimeout(() => { document.title = 'Still here' }, 700)</script>");
  page("/popup", "Popup");
  backend_->setResource("/download", "MZ", "application/octet-stream");
  openHostWindow();
  open("/hostile");
  GtkWindow* const window = windowTitled("Still here");
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(shownWindows().size(), 1u);
  EXPECT_EQ(requestsFor("/popup"), 0u);
  EXPECT_FALSE(wasStarted("tickets"));
  EXPECT_FALSE(gtk_window_is_fullscreen(window));
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
    EXPECT_EQ(entry.path().filename().string().find("evil"), std::string::npos) << entry.path();
  }
}

TEST_F(Browser, KeepsNothingFromOnePageToTheNext) {
  installWith();
  page("/cookie", "unset",
       "<script>const before = document.cookie + localStorage.getItem('a'); document.cookie = 'a=1; "
       "max-age=999';"
       "localStorage.setItem('a', 'b'); document.title = 'before:' + before + ' after:' + "
       "document.cookie;</script>");
  openHostWindow();
  for (int i = 0; i < 2; ++i) {
    const Shown shown = open("/cookie");
    EXPECT_NE(windowTitled("before:null after:a=1"), nullptr);
    presenter_->dismiss(shown, false, {});
    ASSERT_TRUE(waitForWindows(0));
  }
}

TEST_F(Browser, WithoutASandboxThereAreNoPagesAndTheApplicationLives) {
  // A `bwrap` that cannot build a sandbox, as in many containers.
  std::filesystem::create_directories(folder_ / "bin");
  std::ofstream(folder_ / "bin/bwrap") << "#!/bin/sh\nexit 1\n";
  std::filesystem::permissions(folder_ / "bin/bwrap", std::filesystem::perms::owner_all);
  setenv("PATH", ((folder_ / "bin").string() + ":" + getenv("PATH")).c_str(), 1);
  unsetenv("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS");
  installWith();
  openHostWindow();
  open("/");
  ASSERT_TRUE(waitUntil(
      [&] { return !shownWindows().empty() && shows(shownWindows()[0], "Pages cannot be shown"); }));
  EXPECT_EQ(backend_->requestCount(), 0u);
  ASSERT_TRUE(press(shownWindows()[0], "Done"));
  EXPECT_TRUE(waitUntil([&] { return finished_ == 1; }));
}

}  // namespace
}  // namespace tidewell::desktop

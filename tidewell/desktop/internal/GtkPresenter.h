#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "tidewell/desktop/internal/ShownWindow.h"
#include "tidewell/desktop/internal/WebPage.h"
#include "tidewell/platform/Presenter.h"

namespace tidewell::desktop {

/// Shows alerts and pages as windows above the host's active one. They are no windows of the host's
/// `GtkApplication`: it ends as if they were not there, and they go with the window that they lie above.
class GtkPresenter final : public platform::Presenter {
 public:
  explicit GtkPresenter(WebPageSettings settings);

  platform::Shown showAlert(platform::AlertContent content, std::function<void(std::size_t)> chosen,
                            platform::Shown above) override;
  platform::Shown showBrowser(const base::Url& url, platform::BrowserEvents events,
                              platform::Shown above) override;
  /// GTK moves no windows about: `animated` says nothing here.
  void dismiss(platform::Shown shown, bool animated, std::function<void()> done) override;
  /// Of the monitor that the application's window is on. On another thread than the main one: as it was when
  /// the main thread asked last.
  [[nodiscard]] platform::ScreenSize screenSize() override;

 private:
  struct Item {
    platform::Shown above;
    std::unique_ptr<ShownWindow> window;
    GtkWindow* host;  ///< the application's window at the bottom; null where there was none
  };

  platform::Shown show(std::unique_ptr<ShownWindow> window, platform::Shown above);
  void wentAway(platform::Shown shown);
  void hostWentAway(GtkWindow* host);
  void followHost(GtkWindow* host);
  /// Takes an item and all above it out of the map, the highest first.
  std::vector<std::unique_ptr<ShownWindow>> take(platform::Shown shown);
  /// Puts every window above its own again, alerts above pages.
  void stack();

  const WebPageSettings settings_;
  const std::thread::id mainThread_ = std::this_thread::get_id();
  std::map<platform::Shown, Item> items_;
  std::uint64_t last_ = 0;
  std::atomic<double> width_{0};
  std::atomic<double> height_{0};
};

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
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

/// Shows alerts and pages in windows above the host's active one. They are not part of the host's
/// `GtkApplication`, so it quits regardless of them; they are destroyed with the window below them.
class GtkPresenter final : public platform::Presenter {
 public:
  explicit GtkPresenter(WebPageSettings settings);

  platform::Shown showAlert(platform::AlertContent content, std::function<void(std::size_t)> chosen,
                            platform::Shown above) override;
  platform::Shown showBrowser(const base::Url& url, platform::BrowserEvents events,
                              platform::Shown above) override;
  /// GTK does not animate windows, so `animated` is ignored.
  void dismiss(platform::Shown shown, bool animated, std::function<void()> done) override;
  /// The size of the monitor with the application's window. Other threads than the main thread get the size
  /// as of the main thread's last call.
  [[nodiscard]] platform::ScreenSize screenSize() override;

 private:
  struct Item {
    platform::Shown above;
    std::unique_ptr<ShownWindow> window;
    GtkWindow* host;  ///< the application's window at the bottom; null if there was none
  };

  platform::Shown show(std::unique_ptr<ShownWindow> window, platform::Shown above);
  void handleClosed(platform::Shown shown);
  void handleHostClosed(GtkWindow* host);
  void followHost(GtkWindow* host);
  /// Removes an item and everything above it from the map, topmost first.
  std::vector<std::unique_ptr<ShownWindow>> take(platform::Shown shown);
  /// Puts every window above its parent again, alerts above pages.
  void stack();

  const WebPageSettings settings_;
  const std::thread::id mainThread_ = std::this_thread::get_id();
  std::map<platform::Shown, Item> items_;
  std::uint64_t last_ = 0;
  std::atomic<double> width_{0};
  std::atomic<double> height_{0};
};

}  // namespace tidewell::desktop

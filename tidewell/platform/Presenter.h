// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/LaterFields.h"
#include "tidewell/base/Url.h"

namespace tidewell::platform {

/// Identifies an item shown by a presenter. Values are never reused within a process.
enum class Shown : std::uint64_t { nothing = 0 };

/// The appearance of an alert's button. The Escape key chooses a `cancel` button.
enum class AlertActionStyle : std::uint8_t { standard = 0, cancel = 1, destructive = 2 };

/// A button of an alert. Choosing it closes the alert.
struct AlertAction {
  std::string title;
  AlertActionStyle style = AlertActionStyle::standard;
  base::LaterFields laterFields{};
};

/// The texts and buttons of an alert.
struct AlertContent {
  std::optional<std::string> title;
  std::optional<std::string> message;
  /// In order. An alert without buttons stays until it is dismissed.
  std::vector<AlertAction> actions;
  base::LaterFields laterFields{};
};

/// The size of the screen in logical pixels, in its current orientation.
struct ScreenSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const ScreenSize&, const ScreenSize&) = default;
};

/// Callbacks for the owner of a page; empty ones are not called.
struct BrowserEvents {
  /// The user has closed the page (with its Done button or its window), or the window below it is gone.
  /// Called at most once, on the main queue, and never after a dismissal. The page remains dismissible until
  /// dismissed.
  std::function<void()> didFinish;
  base::LaterFields laterFields{};
};

/// Shows alerts and web pages above the application's own windows.
///
/// Main queue only, except `screenSize`; never raises. Callbacks run after the call that received them has
/// returned, with no lock held. `above` is the item above which the new one is shown; `Shown::nothing` and
/// items no longer shown stand for the application's own window. Dismissing an item also dismisses everything
/// above it.
///
/// Without a screen the show operations return `Shown::nothing` and call no callback; `dismiss` still calls
/// `done`.
class TIDEWELL_EXPORT Presenter {
 public:
  /// Passed to `chosen` if an alert disappeared without a choice because the window below it is gone.
  static constexpr std::size_t kNoAction = static_cast<std::size_t>(-1);

  virtual ~Presenter();

  /// Shows an alert. `chosen` receives the index of the button after the alert has closed: at most once, and
  /// never after a dismissal. An alert stays above pages that are later shown above the same item.
  virtual Shown showAlert(AlertContent content, std::function<void(std::size_t)> chosen, Shown above) = 0;

  /// Shows a page in the in-app browser. Returns `Shown::nothing` for a URL that is neither http nor https.
  /// If the page cannot be loaded, the browser shows the error.
  virtual Shown showBrowser(const base::Url& url, BrowserEvents events, Shown above) = 0;

  /// Dismisses an item and everything above it. Calls a non-empty `done` on the main queue once it is gone,
  /// even if it already was.
  virtual void dismiss(Shown shown, bool animated, std::function<void()> done) = 0;

  /// Any thread. 0 × 0 if there is no screen.
  [[nodiscard]] virtual ScreenSize screenSize() = 0;
};

/// Shows nothing. For platforms without a screen; reports the screen size given at construction.
class TIDEWELL_EXPORT HeadlessPresenter final : public Presenter {
 public:
  explicit HeadlessPresenter(ScreenSize screenSize = {}) : screenSize_(screenSize) {}

  Shown showAlert(AlertContent content, std::function<void(std::size_t)> chosen, Shown above) override;
  Shown showBrowser(const base::Url& url, BrowserEvents events, Shown above) override;
  void dismiss(Shown shown, bool animated, std::function<void()> done) override;
  [[nodiscard]] ScreenSize screenSize() override { return screenSize_; }

 private:
  const ScreenSize screenSize_;
};

}  // namespace tidewell::platform

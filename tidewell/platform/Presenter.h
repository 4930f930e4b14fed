#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"

namespace tidewell::platform {

/// Names something that a presenter shows. The value is used once in the life of a process.
enum class Shown : std::uint64_t { nothing = 0 };

/// How a button of an alert looks. `cancel` is also what the Escape key chooses.
enum class AlertActionStyle : std::uint8_t { standard = 0, cancel = 1, destructive = 2 };
/// One button of an alert. The alert goes away when it is chosen.
struct AlertAction {
  std::string title;
  AlertActionStyle style = AlertActionStyle::standard;
};
/// What an alert says and offers.
struct AlertContent {
  std::optional<std::string> title;
  std::optional<std::string> message;
  /// The buttons, in order. An alert without any stays until it is dismissed.
  std::vector<AlertAction> actions;
};

/// The size of the screen in logical pixels, as it is turned now.
struct ScreenSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const ScreenSize&, const ScreenSize&) = default;
};
/// What the owner of a page wants to hear of it; an empty function is not called.
struct BrowserEvents {
  /// The user has closed the page (its Done button, its window), or the window below it is gone. Called at
  /// most once, on the main queue; never for a page that was dismissed. The page stays a thing that can be
  /// dismissed until somebody does.
  std::function<void()> didFinish;
};

/// Shows alerts and web pages above the application's own windows.
///
/// Main queue only, `screenSize` apart; never raises; no function that it is given is called before it
/// returns, and none with a lock held. `above` is what the new thing is shown above: `Shown::nothing`, and
/// what is not shown any more, stand for the application's own window. What is above a thing goes with it.
///
/// Where there is no screen nothing is shown: `Shown::nothing` comes back and none of the functions is called
/// but that of `dismiss`.
class TIDEWELL_EXPORT Presenter {
 public:
  /// What `chosen` gets where an alert went without a choice, because the window below it is gone.
  static constexpr std::size_t kNoAction = static_cast<std::size_t>(-1);

  virtual ~Presenter();

  /// Shows an alert. `chosen` is called with the index of the button; the alert is then gone already. It is
  /// called at most once, and never for an alert that was dismissed. An alert stays above pages that are
  /// shown above the same thing later.
  virtual Shown showAlert(AlertContent content, std::function<void(std::size_t)> chosen, Shown above) = 0;

  /// Shows a page in the in-app browser. `Shown::nothing` for a URL that is neither http nor https. A page
  /// that cannot be loaded is shown as such.
  virtual Shown showBrowser(const base::Url& url, BrowserEvents events, Shown above) = 0;

  /// Takes away what is shown, and what is above it. `done` is called once it is away, also where it was
  /// already, on the main queue; an empty one is ignored.
  virtual void dismiss(Shown shown, bool animated, std::function<void()> done) = 0;

  /// Any thread. 0 x 0 where there is no screen.
  [[nodiscard]] virtual ScreenSize screenSize() = 0;
};

/// Shows nothing: the presenter of a platform without a screen. It says that the screen has the size that it
/// was told.
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

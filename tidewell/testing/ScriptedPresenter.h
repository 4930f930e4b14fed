#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tidewell/base/Export.h"
#include "tidewell/base/Url.h"
#include "tidewell/platform/Presenter.h"
#include "tidewell/platform/Queue.h"

namespace tidewell::testing {

/// An alert, or a page of the in-app browser, on the screen of a test.
struct OnScreen {
  platform::Shown shown;
  platform::Shown above;                        ///< `Shown::nothing`: above the application's own window
  std::optional<platform::AlertContent> alert;  ///< nothing for a page
  std::optional<base::Url> page;                ///< nothing for an alert
};

/// A screen that a test looks at, and whose user it plays. 375 x 812 points until it is set. Any thread.
///
/// What the application is told of its user's doing comes on the main queue.
class TIDEWELL_EXPORT ScriptedPresenter final : public platform::Presenter {
 public:
  /// The queue outlives the presenter.
  explicit ScriptedPresenter(platform::Queue& mainQueue);
  ~ScriptedPresenter() override;
  platform::Shown showAlert(platform::AlertContent content, std::function<void(std::size_t)> chosen,
                            platform::Shown above) override;
  platform::Shown showBrowser(const base::Url& url, platform::BrowserEvents events,
                              platform::Shown above) override;
  void dismiss(platform::Shown shown, bool animated, std::function<void()> done) override;
  [[nodiscard]] platform::ScreenSize screenSize() override;

  /// What is shown now, in the order in which it was.
  [[nodiscard]] std::vector<OnScreen> onScreen() const;
  /// Those of `onScreen` that the application took away so far, each with the flag that it gave.
  struct Dismissal {
    platform::Shown shown;
    bool animated;
  };
  [[nodiscard]] std::vector<Dismissal> dismissals() const;

  /// The user chooses the button of that index. NO where there is no such alert or button.
  bool choose(platform::Shown alert, std::size_t index);
  /// The user closes a page. NO where there is no such page.
  bool close(platform::Shown page);
  /// The application's own window goes, and all that is above it.
  void closeWindow();
  /// 0 x 0: there is no screen, and from now on nothing is shown.
  void setScreenSize(platform::ScreenSize size);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

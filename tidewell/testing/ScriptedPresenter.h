// SPDX-License-Identifier: Apache-2.0
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

/// An alert or browser page on the simulated screen.
struct OnScreen {
  platform::Shown shown;
  platform::Shown above;                        ///< `Shown::nothing`: above the application's own window
  std::optional<platform::AlertContent> alert;  ///< no value for a page
  std::optional<base::Url> page;                ///< no value for an alert
};

/// A simulated screen and user. 375 × 812 points unless changed. Any thread.
///
/// The application is notified of the user's actions on the main queue.
class TIDEWELL_EXPORT ScriptedPresenter final : public platform::Presenter {
 public:
  /// `mainQueue` must outlive this object.
  explicit ScriptedPresenter(platform::Queue& mainQueue);
  ~ScriptedPresenter() override;
  platform::Shown showAlert(platform::AlertContent content, std::function<void(std::size_t)> chosen,
                            platform::Shown above) override;
  platform::Shown showBrowser(const base::Url& url, platform::BrowserEvents events,
                              platform::Shown above) override;
  void dismiss(platform::Shown shown, bool animated, std::function<void()> done) override;
  [[nodiscard]] platform::ScreenSize screenSize() override;

  /// Everything on the screen, in the order in which it was shown.
  [[nodiscard]] std::vector<OnScreen> onScreen() const;
  /// An item that the application dismissed, with its `animated` argument.
  struct Dismissal {
    platform::Shown shown;
    bool animated;
  };
  [[nodiscard]] std::vector<Dismissal> dismissals() const;

  /// The user chooses the button with that index. False if there is no such alert or button.
  bool choose(platform::Shown alert, std::size_t index);
  /// The user closes a page. False if there is no such page.
  bool close(platform::Shown page);
  /// The application's own window closes, with everything above it.
  void closeWindow();
  /// 0 × 0 means no screen: nothing more is shown.
  void setScreenSize(platform::ScreenSize size);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidewell::testing

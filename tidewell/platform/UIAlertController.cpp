// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIAlertController.h"

#include <algorithm>
#include <utility>

#include "tidewell/base/Exception.h"

namespace tidewell::platform {

UIAlertController::UIAlertController(std::optional<std::string> title, std::optional<std::string> message)
    : title_(std::move(title)), message_(std::move(message)) {}

UIAlertController::~UIAlertController() = default;

void UIAlertController::addAction(const Action& action) {
  if (!action) base::raise(base::kInvalidArgumentException, "An alert was given a nil action");
  const auto cancels = [](const Action& each) { return each->style() == AlertActionStyle::cancel; };
  if (cancels(action) && std::any_of(actions_.begin(), actions_.end(), cancels))
    base::raise(base::kInternalInconsistencyException,
                "UIAlertController can only have one action with a style of UIAlertActionStyleCancel");
  actions_.push_back(action);
}

Shown UIAlertController::show(Presenter& presenter, Shown above) {
  AlertContent content{title_, message_, {}};
  for (const Action& each : actions_) content.actions.push_back({each->title().value_or(""), each->style()});
  // The actions as shown, regardless of later additions.
  auto chosen = [weak = weak_from_this(), actions = actions_](std::size_t index) {
    if (const runtime::Ref alert = weak.lock())
      static_cast<UIAlertController&>(*alert).UIViewController::dismissViewControllerAnimated(false);
    if (index < actions.size() && actions[index]->handler()) actions[index]->handler()(*actions[index]);
  };
  return presenter.showAlert(std::move(content), std::move(chosen), above);
}

}  // namespace tidewell::platform

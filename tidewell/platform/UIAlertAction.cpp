// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/UIAlertAction.h"

#include <utility>

namespace tidewell::platform {

UIAlertAction::UIAlertAction(std::optional<std::string> title, AlertActionStyle style, Handler handler)
    : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}

UIAlertAction::~UIAlertAction() = default;

std::shared_ptr<UIAlertAction> UIAlertAction::actionWithTitle(std::optional<std::string> title,
                                                              AlertActionStyle style, Handler handler) {
  return runtime::make<UIAlertAction>(std::move(title), style, std::move(handler));
}

}  // namespace tidewell::platform

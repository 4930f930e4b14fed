// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/Presenter.h"

#include <utility>

#include "tidewell/platform/Platform.h"

namespace tidewell::platform {

Presenter::~Presenter() = default;

Shown HeadlessPresenter::showAlert(AlertContent, std::function<void(std::size_t)>, Shown) {
  return Shown::nothing;
}

Shown HeadlessPresenter::showBrowser(const base::Url&, BrowserEvents, Shown) { return Shown::nothing; }

void HeadlessPresenter::dismiss(Shown, bool, std::function<void()> done) {
  Platform::current().mainQueue().async(std::move(done));
}

}  // namespace tidewell::platform

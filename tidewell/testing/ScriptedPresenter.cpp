// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/ScriptedPresenter.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {
namespace {

using platform::Shown;

/// Unique within the process, across presenters.
Shown nextShown() {
  static std::atomic<std::uint64_t> last{0};
  return static_cast<Shown>(++last);
}

struct ShownItem {
  OnScreen what;
  std::function<void(std::size_t)> chosen;
  std::function<void()> didFinish;

  /// Notifies the application that the item disappeared without its involvement.
  void notify(platform::Queue& queue, std::size_t choice) {
    if (chosen) queue.async([chosen = std::move(chosen), choice] { chosen(choice); });
    queue.async(std::move(didFinish));
  }
};

}  // namespace

struct ScriptedPresenter::State {
  explicit State(platform::Queue& onQueue) : queue(onQueue) {}

  Shown add(ShownItem item) {
    const base::MutexLock lock(mutex);
    if (screenSize == platform::ScreenSize{}) return Shown::nothing;
    const bool isUp = std::any_of(items.begin(), items.end(),
                                  [&](const ShownItem& each) { return each.what.shown == item.what.above; });
    if (!isUp) item.what.above = Shown::nothing;
    item.what.shown = nextShown();
    items.push_back(std::move(item));
    return items.back().what.shown;
  }

  /// Removes an item and everything above it, and returns them from the bottom up; empty if it is not shown.
  std::vector<ShownItem> take(Shown shown) TIDEWELL_REQUIRES(mutex) {
    std::vector<ShownItem> taken;
    for (auto each = items.begin(); each != items.end();) {  // items above come later
      const bool goes =
          each->what.shown == shown || std::any_of(taken.begin(), taken.end(), [&](const ShownItem& below) {
            return below.what.shown == each->what.above;
          });
      if (goes) taken.push_back(std::move(*each));
      each = goes ? items.erase(each) : std::next(each);
    }
    return taken;
  }

  /// Removes an item for which `fits` is true, as a user's action; empty if there is none.
  template <class Fits>
  std::vector<ShownItem> takeWhere(Shown shown, Fits fits) {
    const base::MutexLock lock(mutex);
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const ShownItem& each) { return each.what.shown == shown; });
    if (found == items.end() || !fits(found->what)) return {};
    return take(shown);
  }

  platform::Queue& queue;
  mutable base::Mutex mutex;
  platform::ScreenSize screenSize TIDEWELL_GUARDED_BY(mutex){375, 812};
  std::vector<ShownItem> items TIDEWELL_GUARDED_BY(mutex);
  std::vector<Dismissal> dismissals TIDEWELL_GUARDED_BY(mutex);
};

ScriptedPresenter::ScriptedPresenter(platform::Queue& mainQueue)
    : state_(std::make_unique<State>(mainQueue)) {}
ScriptedPresenter::~ScriptedPresenter() = default;

Shown ScriptedPresenter::showAlert(platform::AlertContent content, std::function<void(std::size_t)> chosen,
                                   Shown above) {
  return state_->add({{Shown::nothing, above, std::move(content), std::nullopt}, std::move(chosen), {}});
}

Shown ScriptedPresenter::showBrowser(const base::Url& url, platform::BrowserEvents events, Shown above) {
  return state_->add({{Shown::nothing, above, std::nullopt, url}, {}, std::move(events.didFinish)});
}

void ScriptedPresenter::dismiss(Shown shown, bool animated, std::function<void()> done) {
  std::vector<ShownItem> taken;  // destroyed after unlocking, because it holds the application's functions
  {
    const base::MutexLock lock(state_->mutex);
    taken = state_->take(shown);
    for (const ShownItem& each : taken) state_->dismissals.push_back({each.what.shown, animated});
  }
  state_->queue.async(std::move(done));
}

platform::ScreenSize ScriptedPresenter::screenSize() {
  const base::MutexLock lock(state_->mutex);
  return state_->screenSize;
}

std::vector<OnScreen> ScriptedPresenter::onScreen() const {
  const base::MutexLock lock(state_->mutex);
  std::vector<OnScreen> result;
  for (const ShownItem& each : state_->items) result.push_back(each.what);
  return result;
}

std::vector<ScriptedPresenter::Dismissal> ScriptedPresenter::dismissals() const {
  const base::MutexLock lock(state_->mutex);
  return state_->dismissals;
}

bool ScriptedPresenter::choose(Shown alert, std::size_t index) {
  std::vector<ShownItem> taken = state_->takeWhere(
      alert, [&](const OnScreen& what) { return what.alert && index < what.alert->actions.size(); });
  for (ShownItem& each : taken) each.notify(state_->queue, each.what.shown == alert ? index : kNoAction);
  return !taken.empty();
}

bool ScriptedPresenter::close(Shown page) {
  std::vector<ShownItem> taken =
      state_->takeWhere(page, [](const OnScreen& what) { return what.page.has_value(); });
  for (ShownItem& each : taken) each.notify(state_->queue, kNoAction);
  return !taken.empty();
}

void ScriptedPresenter::closeWindow() {
  std::vector<ShownItem> taken;
  {
    const base::MutexLock lock(state_->mutex);
    taken.swap(state_->items);
  }
  for (ShownItem& each : taken) each.notify(state_->queue, kNoAction);
}

void ScriptedPresenter::setScreenSize(platform::ScreenSize size) {
  const base::MutexLock lock(state_->mutex);
  state_->screenSize = size;
}

}  // namespace tidewell::testing

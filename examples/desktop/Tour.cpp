// SPDX-License-Identifier: Apache-2.0
#include "Tour.h"

#include <gio/gio.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

namespace {

constexpr gint64 kTimeout = 30 * G_USEC_PER_SEC;
constexpr guint kLook = 50;         ///< milliseconds between two checks
constexpr guint kStandStill = 500;  ///< milliseconds until animations have ended

/// The window above the shop, which shows the SDK's page or alert; null if there is none.
GtkWindow* windowAbove(GtkWindow* shop) {
  GListModel* const windows = gtk_window_get_toplevels();
  for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
    auto* const window = static_cast<GtkWindow*>(g_list_model_get_item(windows, i));
    g_object_unref(window);
    if (gtk_window_get_transient_for(window) == shop && gtk_widget_get_mapped(GTK_WIDGET(window)))
      return window;
  }
  return nullptr;
}

/// Whether a widget shows a text.
bool shows(GtkWidget* widget, const std::string& text) {
  if (GTK_IS_LABEL(widget) && gtk_widget_get_mapped(widget) && text == gtk_label_get_text(GTK_LABEL(widget)))
    return true;
  for (GtkWidget* child = gtk_widget_get_first_child(widget); child != nullptr;
       child = gtk_widget_get_next_sibling(child)) {
    if (shows(child, text)) return true;
  }
  return false;
}

/// The process that recorded a link; 0 while there is none.
pid_t receiverOf(const std::string& link, const std::string& folder) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    if (entry.path().extension() == ".part") continue;
    std::ifstream file(entry.path());
    const std::string given{std::istreambuf_iterator<char>(file), {}};
    if (given == link) return static_cast<pid_t>(std::stol(entry.path().filename()));
  }
  return 0;
}

}  // namespace

Tour::Tour(ShopWindow& shop, TourSight sight, std::string pictureFolder)
    : shop_(shop), sight_(std::move(sight)), folder_(std::move(pictureFolder)) {
  addSteps();
}

std::size_t Tour::campaignNamed(std::string_view name) const {
  std::size_t index = 0;
  while (index + 1 < shop_.campaigns().size() && shop_.campaigns()[index].name != name) ++index;
  return index;
}

void Tour::addLinkStep(std::size_t campaign, std::string link) {
  steps_.push_back({shop_.campaigns()[campaign].name, [this, campaign] { shop_.act(campaign); },
                    [this, link] { return receiverOf(link, sight_.recordFolder) != 0; },
                    [this, link] { kill(receiverOf(link, sight_.recordFolder), SIGTERM); }});
}

void Tour::addSteps() {
  const auto above = [this] { return windowAbove(shop_.window()); };
  const auto closeAbove = [above] {
    if (GtkWindow* const window = above()) gtk_window_close(window);
  };
  const auto act = [this](std::string_view name) {
    return [this, i = campaignNamed(name)] { shop_.act(i); };
  };

  steps_.push_back({"shop", [] {}, sight_.isSynced, [] {}});
  addLinkStep(campaignNamed("deep-link"), "tickets://events/harvest-night?seat=4B");
  addLinkStep(campaignNamed("universal-link"), "https://maps.fjord.example/harbour/pier-4");
  steps_.push_back({"own-link", act("own-link"), sight_.hasContinued, [] {}});
  addLinkStep(campaignNamed("custom-link"), "tel:+4755012345");
  steps_.push_back({"failed-page", act("failed-page"),
                    [above] { return above() != nullptr && shows(GTK_WIDGET(above()), "Try Again"); },
                    closeAbove});
  steps_.push_back({"landing-page", act("landing-page"),
                    [this, above] { return above() != nullptr && sight_.isPagePainted(); }, [] {}});
  steps_.push_back({"dismissed", act("dismiss"), [above] { return above() == nullptr; }, [] {}});
  steps_.push_back({"alert", act("alert"), [above] { return above() != nullptr; }, closeAbove});
}

void Tour::start() {
  std::error_code ignored;
  std::filesystem::create_directories(folder_, ignored);
  next();
}

void Tour::next() {
  if (current_ == steps_.size()) {
    isOver_ = true;
    gtk_window_close(shop_.window());
    return;
  }
  deadline_ = g_get_monotonic_time() + kTimeout;
  steps_[current_].begin();
  wait();
}

void Tour::wait() {
  g_timeout_add(
      kLook,
      +[](gpointer data) -> gboolean {
        auto* const self = static_cast<Tour*>(data);
        const bool isThere = self->steps_[self->current_].isThere();
        if (!isThere && g_get_monotonic_time() < self->deadline_) return G_SOURCE_CONTINUE;
        if (!isThere) {
          self->finishStep(false);
          return G_SOURCE_REMOVE;
        }
        g_timeout_add_once(
            kStandStill, [](gpointer tour) { static_cast<Tour*>(tour)->takePicture(); }, data);
        return G_SOURCE_REMOVE;
      },
      this);
}

void Tour::takePicture() {
  const std::string path =
      folder_ + "/" + std::to_string(current_ + 1) + "-" + steps_[current_].name + ".png";
  GSubprocess* const tool = g_subprocess_new(G_SUBPROCESS_FLAGS_NONE, nullptr, "import", "-silent", "-window",
                                             "root", path.c_str(), nullptr);
  if (tool == nullptr) return finishStep(false);
  g_subprocess_wait_check_async(
      tool, nullptr,
      +[](GObject* done, GAsyncResult* result, gpointer self) {
        const bool isTaken = g_subprocess_wait_check_finish(G_SUBPROCESS(done), result, nullptr) != FALSE;
        g_object_unref(done);
        static_cast<Tour*>(self)->finishStep(isTaken);
      },
      this);
}

void Tour::finishStep(bool isRight) {
  Step& step = steps_[current_];
  std::printf("  %s %s\n", isRight ? "ok" : "!!", step.name.c_str());
  std::fflush(stdout);
  isAllRight_ = isAllRight_ && isRight;
  step.end();
  ++current_;
  // Gives a spectator time to see the shop again.
  g_timeout_add_once(
      kStandStill, [](gpointer self) { static_cast<Tour*>(self)->next(); }, this);
}

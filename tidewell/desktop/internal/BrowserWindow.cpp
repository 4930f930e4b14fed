// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/BrowserWindow.h"

#include <optional>
#include <utility>

#include "tidewell/desktop/internal/WebEngine.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::desktop {
namespace {

constexpr int kBrowserWidth = 920;
constexpr int kBrowserHeight = 680;
constexpr const char* kPageName = "page";
constexpr const char* kProblemName = "problem";

std::string hostOf(const std::string& address) {
  const auto url = base::Url::URLWithString(address);
  return url ? url->host().value_or("") : "";
}

/// Where an address leads. Omits user names and passwords before the host, which can be deceptive.
std::string shownAddress(const std::string& address) {
  const auto url = base::Url::URLWithString(address);
  const auto host = url ? url->host() : std::nullopt;
  if (!host) return displayText(address, 256);
  std::string text = *host;
  if (const auto port = url->port()) text += ":" + std::to_string(*port);
  if (const std::string path = url->path(); path != "/") text += path;
  return displayText(text, 256);
}

GtkWidget* makeButton(const char* icon, const char* tip) {
  GtkWidget* const button = gtk_button_new_from_icon_name(icon);
  gtk_widget_set_tooltip_text(button, tip);
  gtk_accessible_update_property(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_PROPERTY_LABEL, tip, -1);
  return button;
}

}  // namespace

BrowserWindow::BrowserWindow(const base::Url& url, WebPageSettings settings, std::function<void()> didFinish)
    : url_(url.absoluteString()),
      settings_(std::move(settings)),
      didFinish_(std::move(didFinish)),
      problem_([this] { tryAgain(); }) {
  gtk_window_set_default_size(window(), kBrowserWidth, kBrowserHeight);
  makeHeader();
  makeContent();
  addShortcuts();
  prepare();
}

// The page first: it must not send notifications to a partly destroyed window.
BrowserWindow::~BrowserWindow() {
  *self_ = nullptr;
  page_.reset();
}

void BrowserWindow::makeHeader() {
  GtkWidget* const header = gtk_header_bar_new();
  header_.reset(static_cast<GtkWidget*>(g_object_ref_sink(header)));
  back_ = makeButton("go-previous-symbolic", "Back");
  forward_ = makeButton("go-next-symbolic", "Forward");
  reload_ = makeButton("view-refresh-symbolic", "Load again");
  g_signal_connect_swapped(back_, "clicked", G_CALLBACK(+[](BrowserWindow* self) { self->page_->goBack(); }),
                           this);
  g_signal_connect_swapped(forward_, "clicked",
                           G_CALLBACK(+[](BrowserWindow* self) { self->page_->goForward(); }), this);
  g_signal_connect_swapped(reload_, "clicked", G_CALLBACK(+[](BrowserWindow* self) { self->tryAgain(); }),
                           this);
  for (GtkWidget* const button : {back_, forward_, reload_}) {
    gtk_widget_set_sensitive(button, FALSE);
    gtk_header_bar_pack_start(GTK_HEADER_BAR(header), button);
  }

  lock_ = gtk_image_new();
  address_ = gtk_label_new(nullptr);
  gtk_label_set_ellipsize(GTK_LABEL(address_), PANGO_ELLIPSIZE_END);
  gtk_label_set_max_width_chars(GTK_LABEL(address_), 44);
  GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  gtk_widget_set_halign(line, GTK_ALIGN_CENTER);
  gtk_widget_set_hexpand(line, TRUE);
  gtk_box_append(GTK_BOX(line), lock_);
  gtk_box_append(GTK_BOX(line), address_);
  GtkWidget* const pill = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  gtk_widget_add_css_class(pill, "tidewell-address");
  gtk_widget_set_valign(pill, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(pill), line);
  gtk_header_bar_set_title_widget(GTK_HEADER_BAR(header), pill);

  GtkWidget* const done = gtk_button_new_with_label("Done");
  gtk_widget_add_css_class(done, "suggested-action");
  g_signal_connect_swapped(done, "clicked", G_CALLBACK(+[](BrowserWindow* self) { self->close(); }), this);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(header), done);
  gtk_header_bar_set_show_title_buttons(GTK_HEADER_BAR(header), FALSE);
  gtk_window_set_titlebar(window(), header);
  showAddress(url_, Lock::open);
}

void BrowserWindow::makeContent() {
  stack_ = gtk_stack_new();
  gtk_stack_add_named(GTK_STACK(stack_), problem_.widget(), kProblemName);
  progress_ = gtk_progress_bar_new();
  gtk_widget_add_css_class(progress_, "tidewell-progress");
  gtk_widget_set_valign(progress_, GTK_ALIGN_START);
  gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(progress_), 0.05);  // shows progress immediately
  GtkWidget* const overlay = gtk_overlay_new();
  content_.reset(static_cast<GtkWidget*>(g_object_ref_sink(overlay)));
  gtk_overlay_set_child(GTK_OVERLAY(overlay), stack_);
  gtk_overlay_add_overlay(GTK_OVERLAY(overlay), progress_);
  // Empty until there is a page.
  GtkWidget* const empty = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_stack_add_named(GTK_STACK(stack_), empty, "empty");
  gtk_stack_set_visible_child(GTK_STACK(stack_), empty);
  gtk_window_set_child(window(), overlay);
}

void BrowserWindow::addShortcuts() {
  struct Shortcut {
    const char* keys;
    void (*run)(BrowserWindow&);
  };
  static constexpr Shortcut kShortcuts[] = {
      {"<Control>w", +[](BrowserWindow& self) { self.close(); }},
      {"<Control>r|F5", +[](BrowserWindow& self) { self.tryAgain(); }},
      {"<Alt>Left",
       +[](BrowserWindow& self) {
         if (self.page_) self.page_->goBack();
       }},
      {"<Alt>Right",
       +[](BrowserWindow& self) {
         if (self.page_) self.page_->goForward();
       }},
  };
  GtkEventController* const controller = gtk_shortcut_controller_new();
  gtk_event_controller_set_propagation_phase(controller, GTK_PHASE_CAPTURE);  // before the page gets it
  for (const Shortcut& each : kShortcuts) {
    GtkShortcut* const shortcut = gtk_shortcut_new(
        gtk_shortcut_trigger_parse_string(each.keys),
        gtk_callback_action_new(
            +[](GtkWidget* widget, GVariant*, gpointer data) -> gboolean {
              auto* const self =
                  static_cast<BrowserWindow*>(g_object_get_data(G_OBJECT(widget), "tidewell-browser"));
              static_cast<const Shortcut*>(data)->run(*self);
              return TRUE;
            },
            const_cast<Shortcut*>(&each), nullptr));
    gtk_shortcut_controller_add_shortcut(GTK_SHORTCUT_CONTROLLER(controller), shortcut);
  }
  g_object_set_data(G_OBJECT(window()), "tidewell-browser", this);
  gtk_widget_add_controller(GTK_WIDGET(window()), controller);
}

void BrowserWindow::prepare() {
  prepareWebEngine([self = self_](WebPageMaker maker, std::string problem) {
    BrowserWindow* const browser = *self;
    if (!browser || !browser->window()) return;
    if (maker) {
      WebPageClient& client = *browser;
      browser->page_.reset(maker(TIDEWELL_VERSION_STRING, client, browser->settings_, problem));
    }
    if (!browser->page_) return browser->pageFailed({WebPageFailure::Kind::noBrowser, problem});
    gtk_stack_add_named(GTK_STACK(browser->stack_), browser->page_->widget(), kPageName);
    gtk_stack_set_visible_child_name(GTK_STACK(browser->stack_), kPageName);
    gtk_widget_grab_focus(browser->page_->widget());
    browser->page_->load(browser->url_);
  });
}

void BrowserWindow::tryAgain() {
  if (page_) page_->reload();
}

void BrowserWindow::showAddress(const std::string& address, Lock lock) {
  gtk_label_set_text(GTK_LABEL(address_), shownAddress(address).c_str());
  const bool isSecure = lock == Lock::closed;
  gtk_image_set_from_icon_name(GTK_IMAGE(lock_),
                               isSecure ? "channel-secure-symbolic" : "channel-insecure-symbolic");
  gtk_widget_set_visible(lock_, isSecure || address.compare(0, 5, "http:") == 0);
}

void BrowserWindow::pageStarted() {
  if (std::exchange(hasFailed_, false)) gtk_stack_set_visible_child_name(GTK_STACK(stack_), kPageName);
}

void BrowserWindow::pageChanged() {
  if (!window() || !page_) return;
  const WebPageState state = page_->state();
  showAddress(state.address, state.isSecure && !hasFailed_ ? Lock::closed : Lock::open);
  gtk_window_set_title(window(),
                       displayText(state.title.empty() ? hostOf(state.address) : state.title, 128).c_str());
  gtk_widget_set_sensitive(back_, state.canGoBack);
  gtk_widget_set_sensitive(forward_, state.canGoForward);
  gtk_widget_set_sensitive(reload_, TRUE);
  gtk_widget_set_visible(progress_, state.isLoading && !hasFailed_);
  gtk_progress_bar_set_fraction(GTK_PROGRESS_BAR(progress_), state.progress);
}

void BrowserWindow::pageFailed(WebPageFailure failure) {
  if (!window()) return;
  hasFailed_ = true;
  const std::string address = page_ ? page_->state().address : url_;
  problem_.show(failure, hostOf(address));
  gtk_stack_set_visible_child_name(GTK_STACK(stack_), kProblemName);
  gtk_widget_set_visible(progress_, FALSE);
  showAddress(address, Lock::open);
}

void BrowserWindow::pageWantsToOpen(const std::string& text) {
  if (const auto url = base::Url::URLWithString(text)) {
    platform::Platform::current().linkOpener().openURL(*url, {}, nullptr);
  }
}

}  // namespace tidewell::desktop

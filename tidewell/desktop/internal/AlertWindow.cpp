// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/AlertWindow.h"

#include <string>
#include <utility>

#include "tidewell/desktop/internal/Glib.h"

namespace tidewell::desktop {
namespace {

constexpr const char* kIndex = "tidewell-index";
constexpr int kAlertWidth = 400;
constexpr std::size_t kTitleBytes = 256;  ///< it does not scroll
constexpr std::size_t kMessageBytes = 4096;
constexpr int kLongestMessage = 320;  ///< pixels; a longer one scrolls

std::optional<std::size_t> closingChoice(const std::vector<platform::AlertAction>& actions) {
  for (std::size_t i = 0; i < actions.size(); ++i) {
    if (actions[i].style == platform::AlertActionStyle::cancel) return i;
  }
  return actions.size() == 1 ? std::optional<std::size_t>(0) : std::nullopt;
}

GtkWidget* makeLabel(const std::string& text, const char* style, std::size_t bound) {
  GtkWidget* const label = gtk_label_new(displayText(text, bound).c_str());
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_max_width_chars(GTK_LABEL(label), 44);
  gtk_label_set_justify(GTK_LABEL(label), GTK_JUSTIFY_CENTER);
  gtk_widget_add_css_class(label, style);
  return label;
}

GtkWidget* makeMessage(const std::string& text) {
  GtkWidget* const scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), kLongestMessage);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), makeLabel(text, "body", kMessageBytes));
  return scroller;
}

}  // namespace

AlertWindow::AlertWindow(const platform::AlertContent& content, std::function<void(std::size_t)> chosen)
    : chosen_(std::move(chosen)), closing_(closingChoice(content.actions)) {
  GtkWidget* const column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 14);
  gtk_widget_set_margin_top(column, 26);
  gtk_widget_set_margin_bottom(column, 22);
  gtk_widget_set_margin_start(column, 26);
  gtk_widget_set_margin_end(column, 26);
  if (content.title && !content.title->empty()) {
    gtk_box_append(GTK_BOX(column), makeLabel(*content.title, "title", kTitleBytes));
    gtk_window_set_title(window(), displayText(*content.title, 128).c_str());
  }
  if (content.message && !content.message->empty())
    gtk_box_append(GTK_BOX(column), makeMessage(*content.message));

  GtkWidget* const buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 10);
  gtk_widget_set_halign(buttons, GTK_ALIGN_CENTER);
  gtk_widget_set_margin_top(buttons, 8);
  for (std::size_t i = 0; i < content.actions.size(); ++i) addButton(GTK_BOX(buttons), content.actions[i], i);
  gtk_box_append(GTK_BOX(column), buttons);

  // An invisible, empty title bar: keeps the window manager and GTK from drawing one.
  GtkWidget* const handle = gtk_window_handle_new();
  gtk_window_handle_set_child(GTK_WINDOW_HANDLE(handle), column);
  GtkWidget* const bar = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  gtk_widget_set_visible(bar, FALSE);
  gtk_window_set_titlebar(window(), bar);
  gtk_window_set_child(window(), handle);
  gtk_window_set_modal(window(), TRUE);
  gtk_window_set_resizable(window(), FALSE);
  gtk_window_set_default_size(window(), kAlertWidth, -1);
  gtk_widget_add_css_class(GTK_WIDGET(window()), "tidewell-alert");

  g_signal_connect(window(), "close-request", G_CALLBACK(+[](GtkWindow*, gpointer data) -> gboolean {
                     auto* const self = static_cast<AlertWindow*>(data);
                     if (!self->closing_) return TRUE;
                     self->choice_ = *self->closing_;
                     return FALSE;
                   }),
                   this);
  GtkEventController* const keys = gtk_shortcut_controller_new();
  gtk_shortcut_controller_add_shortcut(
      GTK_SHORTCUT_CONTROLLER(keys),
      gtk_shortcut_new(gtk_shortcut_trigger_parse_string("Escape"),
                       gtk_callback_action_new(
                           +[](GtkWidget* widget, GVariant*, gpointer) -> gboolean {
                             gtk_window_close(GTK_WINDOW(widget));
                             return TRUE;
                           },
                           nullptr, nullptr)));
  gtk_widget_add_controller(GTK_WIDGET(window()), keys);
}

void AlertWindow::addButton(GtkBox* box, const platform::AlertAction& action, std::size_t index) {
  GtkWidget* const button = gtk_button_new_with_label(displayText(action.title, 128).c_str());
  if (action.style == platform::AlertActionStyle::destructive) {
    gtk_widget_add_css_class(button, "destructive-action");
  } else if (action.style == platform::AlertActionStyle::standard) {
    gtk_widget_add_css_class(button, "suggested-action");
    gtk_window_set_default_widget(window(), button);
    gtk_window_set_focus(window(), button);
  }
  g_object_set_data(G_OBJECT(button), kIndex, GSIZE_TO_POINTER(index));
  g_signal_connect(button, "clicked", G_CALLBACK(+[](GtkButton* pressed, gpointer data) {
                     auto* const self = static_cast<AlertWindow*>(data);
                     self->choose(GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(pressed), kIndex)));
                   }),
                   this);
  gtk_box_append(box, button);
}

void AlertWindow::choose(std::size_t index) {
  choice_ = index;
  close();
}

std::function<void()> AlertWindow::takeCloseHandler() {
  if (!chosen_) return nullptr;
  return [chosen = std::move(chosen_), choice = choice_] { chosen(choice); };
}

}  // namespace tidewell::desktop

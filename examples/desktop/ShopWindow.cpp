// SPDX-License-Identifier: Apache-2.0
#include "ShopWindow.h"

#include <memory>
#include <string>
#include <utility>

namespace {

constexpr std::size_t kShownLines = 12;

GtkWidget* label(const char* text, const char* style) {
  GtkWidget* const made = gtk_label_new(text);
  gtk_label_set_xalign(GTK_LABEL(made), 0);
  gtk_label_set_wrap(GTK_LABEL(made), TRUE);
  gtk_widget_add_css_class(made, style);
  return made;
}

GtkWidget* column(int spacing, const char* style) {
  GtkWidget* const made = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
  if (style != nullptr) gtk_widget_add_css_class(made, style);
  return made;
}

void append(GtkWidget* box, std::initializer_list<GtkWidget*> children) {
  for (GtkWidget* const child : children) gtk_box_append(GTK_BOX(box), child);
}

GtkWidget* makeProduct(const char* swatch, const char* name, const char* note, const char* price) {
  GtkWidget* const card = column(6, "product");
  GtkWidget* const colour = column(0, "swatch");
  gtk_widget_add_css_class(colour, swatch);
  gtk_widget_set_hexpand(card, TRUE);
  append(card, {colour, label(name, "name"), label(note, "note"), label(price, "price")});
  return card;
}

GtkWidget* makeRow(const Campaign& campaign) {
  GtkWidget* const icon = gtk_image_new_from_icon_name(campaign.icon.c_str());
  gtk_widget_add_css_class(icon, "message-icon");
  gtk_widget_set_valign(icon, GTK_ALIGN_CENTER);
  GtkWidget* const words = column(1, nullptr);
  append(words,
         {label(campaign.title.c_str(), "message-title"), label(campaign.text.c_str(), "message-text")});
  GtkWidget* const line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
  append(line, {icon, words});
  GtkWidget* const row = gtk_list_box_row_new();
  gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(row), line);
  return row;
}

}  // namespace

ShopWindow::ShopWindow(GtkApplication* application, std::vector<Campaign> campaigns)
    : campaigns_(std::move(campaigns)), window_(gtk_application_window_new(application)) {
  gtk_window_set_title(window(), "Fjord Coffee");
  gtk_window_set_default_size(window(), 1180, 740);
  gtk_window_set_titlebar(window(), gtk_header_bar_new());
  gtk_widget_add_css_class(window_, "shop");
  GtkWidget* const both = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  append(both, {makeShop(), makeInbox()});
  gtk_window_set_child(window(), both);
}

GtkWidget* ShopWindow::makeShop() {
  GtkWidget* const shop = column(18, nullptr);
  gtk_widget_set_hexpand(shop, TRUE);
  gtk_widget_set_margin_top(shop, 24);
  gtk_widget_set_margin_bottom(shop, 24);
  gtk_widget_set_margin_start(shop, 26);
  gtk_widget_set_margin_end(shop, 26);
  GtkWidget* const hero = column(6, "hero");
  append(hero, {label("ROASTED BY THE WATER", "kicker"), label("Good morning, Ingrid.", "headline"),
                label("Your usual is waiting: a bag of Dawn, ground for the press.", "text")});
  GtkWidget* const products = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 16);
  gtk_box_set_homogeneous(GTK_BOX(products), TRUE);
  append(products, {makeProduct("dawn", "Dawn", "Peach, honey, a long finish", "€ 14.50"),
                    makeProduct("noon", "Noon", "Green apple, almond", "€ 13.00"),
                    makeProduct("dusk", "Dusk", "Plum, cacao, after dinner", "€ 15.50")});
  activity_ = label("", "activity");
  gtk_label_set_ellipsize(GTK_LABEL(activity_), PANGO_ELLIPSIZE_END);
  gtk_label_set_lines(GTK_LABEL(activity_), -1);
  gtk_label_set_wrap(GTK_LABEL(activity_), FALSE);
  gtk_label_set_yalign(GTK_LABEL(activity_), 0);
  gtk_widget_set_vexpand(activity_, TRUE);
  append(shop,
         {hero, label("THIS WEEK", "section"), products, label("WHAT THE SDK SAYS", "section"), activity_});
  return shop;
}

GtkWidget* ShopWindow::makeInbox() {
  GtkWidget* const inbox = column(12, "sidebar");
  gtk_widget_set_size_request(inbox, 350, -1);
  list_ = gtk_list_box_new();
  gtk_list_box_set_activate_on_single_click(GTK_LIST_BOX(list_), TRUE);
  for (const Campaign& each : campaigns_) gtk_list_box_append(GTK_LIST_BOX(list_), makeRow(each));
  g_signal_connect(list_, "row-activated", G_CALLBACK(+[](GtkListBox*, GtkListBoxRow* row, gpointer self) {
                     const int index = gtk_list_box_row_get_index(row);
                     static_cast<ShopWindow*>(self)->campaigns_[static_cast<std::size_t>(index)].act();
                   }),
                   this);
  append(inbox, {label("INBOX", "section"), list_});
  return inbox;
}

void ShopWindow::act(std::size_t index) {
  GtkListBoxRow* const row = gtk_list_box_get_row_at_index(GTK_LIST_BOX(list_), static_cast<int>(index));
  gtk_list_box_select_row(GTK_LIST_BOX(list_), row);
  g_signal_emit_by_name(list_, "row-activated", row);
}

void ShopWindow::addLine(std::string_view line) {
  struct Line {
    ShopWindow* window;
    std::string text;
  };
  g_idle_add_once(
      [](gpointer data) {
        const std::unique_ptr<Line> added(static_cast<Line*>(data));
        auto& lines = added->window->lines_;
        lines.push_back(added->text.substr(0, added->text.find('\n')));
        if (lines.size() > kShownLines) lines.erase(lines.begin());
        std::string all;
        for (const std::string& each : lines) all += (all.empty() ? "" : "\n") + each;
        gtk_label_set_text(GTK_LABEL(added->window->activity_), all.c_str());
      },
      new Line{this, std::string(line)});
}

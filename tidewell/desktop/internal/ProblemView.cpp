// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/ProblemView.h"

#include <utility>

#include "tidewell/desktop/internal/Glib.h"

namespace tidewell::desktop {
namespace {

struct Words {
  const char* sign;
  const char* title;
  std::string detail;
};

Words wordsFor(const WebPageFailure& failure, const std::string& host) {
  using Kind = WebPageFailure::Kind;
  switch (failure.kind) {
    case Kind::notReached:
      return {"network-error-symbolic", "The page could not be loaded",
              host + " could not be reached.\n" + failure.detail};
    case Kind::notTrusted:
      return {"channel-insecure-symbolic", "The connection is not private",
              "Whoever answers could not prove to be " + host + ". Nothing was sent."};
    case Kind::notShowable:
      return {"action-unavailable-symbolic", "There is nothing to show here",
              "The address leads to a file that is no page. It was not downloaded."};
    case Kind::tooSlow:
      return {"content-loading-symbolic", "The page takes too long", host + " has not answered yet."};
    case Kind::stopped:
      return {"computer-fail-symbolic", "The page has stopped", "Something went wrong while it was shown."};
    case Kind::noBrowser:
      break;
  }
  return {"action-unavailable-symbolic", "Pages cannot be shown on this computer", failure.detail};
}

GtkWidget* makeLabel(const char* style) {
  GtkWidget* const label = gtk_label_new(nullptr);
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_max_width_chars(GTK_LABEL(label), 52);
  gtk_label_set_justify(GTK_LABEL(label), GTK_JUSTIFY_CENTER);
  gtk_widget_add_css_class(label, style);
  return label;
}

}  // namespace

ProblemView::ProblemView(std::function<void()> tryAgain)
    : tryAgain_(std::move(tryAgain)),
      box_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 14)),
      sign_(gtk_image_new()),
      title_(makeLabel("title")),
      detail_(makeLabel("detail")),
      button_(gtk_button_new_with_label("Try Again")) {
  gtk_image_set_pixel_size(GTK_IMAGE(sign_), 96);
  gtk_widget_set_halign(button_, GTK_ALIGN_CENTER);
  gtk_widget_set_margin_top(button_, 10);
  g_signal_connect_swapped(button_, "clicked", G_CALLBACK(+[](ProblemView* self) { self->tryAgain_(); }),
                           this);
  for (GtkWidget* child : {sign_, title_, detail_, button_}) gtk_box_append(GTK_BOX(box_), child);
  gtk_widget_set_valign(box_, GTK_ALIGN_CENTER);
  gtk_widget_set_halign(box_, GTK_ALIGN_CENTER);
  gtk_widget_set_margin_start(box_, 24);
  gtk_widget_set_margin_end(box_, 24);
  gtk_widget_add_css_class(box_, "tidewell-problem");
}

void ProblemView::show(const WebPageFailure& failure, const std::string& host) {
  const Words words = wordsFor(failure, host);
  gtk_image_set_from_icon_name(GTK_IMAGE(sign_), words.sign);
  gtk_widget_set_visible(button_, failure.kind != WebPageFailure::Kind::noBrowser);
  gtk_label_set_text(GTK_LABEL(title_), words.title);
  gtk_label_set_text(GTK_LABEL(detail_), displayText(words.detail, 400).c_str());
}

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include "Receiver.h"

#include <gtk/gtk.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "Style.h"

namespace {

struct Opened {
  std::string name;
  std::string link;
};

/// Writes a temporary file and renames it, so that a reader never finds a partial record.
void leaveRecord(const Opened& opened) {
  const char* const folder = std::getenv("TIDEWELL_DEMO_RECORDS");
  if (folder == nullptr) return;
  const std::string path = std::string(folder) + "/" + std::to_string(getpid());
  std::ofstream(path + ".part") << opened.link;
  std::rename((path + ".part").c_str(), path.c_str());
}

GtkWidget* label(const std::string& text, const char* style) {
  GtkWidget* const made = gtk_label_new(text.c_str());
  gtk_label_set_wrap(GTK_LABEL(made), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(made), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_justify(GTK_LABEL(made), GTK_JUSTIFY_CENTER);
  gtk_widget_add_css_class(made, style);
  return made;
}

void activateReceiver(GtkApplication* application, const Opened* opened) {
  useDemoStyle();
  GtkWidget* const window = gtk_application_window_new(application);
  gtk_window_set_title(GTK_WINDOW(window), opened->name.c_str());
  gtk_window_set_default_size(GTK_WINDOW(window), 720, 440);
  gtk_window_set_titlebar(GTK_WINDOW(window), gtk_header_bar_new());
  gtk_widget_add_css_class(window, "receiver");

  GtkWidget* const card = gtk_box_new(GTK_ORIENTATION_VERTICAL, 10);
  gtk_widget_add_css_class(card, "receiver-card");
  gtk_widget_set_halign(card, GTK_ALIGN_CENTER);
  gtk_widget_set_valign(card, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(card), label(opened->name, "receiver-name"));
  gtk_box_append(GTK_BOX(card),
                 label("Another application of this desktop. It was opened with", "dim-label"));
  gtk_box_append(GTK_BOX(card), label(opened->link, "receiver-link"));
  gtk_window_set_child(GTK_WINDOW(window), card);
  gtk_window_present(GTK_WINDOW(window));
  // The record means that the window is visible, so write it after the first frames.
  g_timeout_add_once(
      400, [](gpointer data) { leaveRecord(*static_cast<const Opened*>(data)); },
      const_cast<Opened*>(opened));
}

}  // namespace

int runReceiver(const std::string& name, const std::string& link) {
  const Opened opened{name, link};
  GtkApplication* const application = gtk_application_new(nullptr, G_APPLICATION_NON_UNIQUE);
  g_signal_connect(application, "activate", G_CALLBACK(activateReceiver), const_cast<Opened*>(&opened));
  const int status = g_application_run(G_APPLICATION(application), 0, nullptr);
  g_object_unref(application);
  return status;
}

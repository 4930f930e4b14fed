// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <functional>

#include "Child.h"
#include "tidewell/desktop/DesktopPlatform.h"

namespace tidewell::desktop {

inline std::string_view textOrEmpty(const char* text) { return text ? text : ""; }

/// A private desktop: a folder with data, settings and desktop files, and helpers to inspect windows. Each
/// test runs in its own process, so that GLib reads the test's folders.
class DesktopTest : public ::testing::Test {
 protected:
  DesktopTest() {
    std::string made = std::filesystem::temp_directory_path() / "tidewell-desktop.XXXXXX";
    folder_ = mkdtemp(made.data());
    for (const char* const name : {"data/applications", "config", "records"}) {
      std::filesystem::create_directories(folder_ / name);
    }
    setenv("XDG_DATA_HOME", (folder_ / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (folder_ / "config").c_str(), 1);
  }
  ~DesktopTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  /// Installs the platform.
  DesktopPlatform& install(const std::function<void(Options&)>& change = {}) {
    Options options;
    options.posix().setBundleIdentifier("org.example.shop");
    options.posix().setVersion("1.0");
    options.posix().setConsoleSink([](std::string_view) {});
    options.setUsesSecretService(false);
    if (change) change(options);
    DesktopPlatform* const platform = desktop::install(std::move(options));
    EXPECT_NE(platform, nullptr);
    return *platform;
  }

  /// Runs the application's loop until the condition holds. Returns false after `seconds`.
  static bool waitUntil(const std::function<bool()>& happened, double seconds = 60) {
    const gint64 end = g_get_monotonic_time() + static_cast<gint64>(seconds * G_USEC_PER_SEC);
    const guint ticks = g_timeout_add(
        10, +[](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    while (!happened() && g_get_monotonic_time() < end) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(ticks);
    return happened();
  }

  /// Installs an application as the handler of schemes. Its program records its arguments.
  void addApplication(const std::string& name, const std::vector<std::string>& schemes,
                      const std::string& more = "", const std::string& place = "%u") {
    const std::string program = folder_ / (name + ".sh"), record = folder_ / "records" / name;
    writeFile(program, "#!/bin/sh\nfor each; do printf '%s\\0' \"$each\"; done >'" + record + ".part'\nmv '" +
                           record + ".part' '" + record + "'\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    std::string types;
    for (const std::string& scheme : schemes) {
      types += "x-scheme-handler/" + scheme + ";";
      handlers_ += "x-scheme-handler/" + scheme + "=" + name + ".desktop\n";
    }
    writeFile(folder_ / "config/mimeapps.list", handlers_);
    writeFile(folder_ / "data/applications" / (name + ".desktop"),
              "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=\"" + program + "\" " + place +
                  "\nMimeType=" + types + "\n" + more + "\n");
  }
  /// The arguments with which an application was started, each followed by a NUL; "" if it was not started.
  [[nodiscard]] std::string argumentsOf(const std::string& name) const {
    return bytesOf(folder_ / "records" / name);
  }

  static GtkWindow* openHostWindow() {
    GtkWidget* const window = gtk_window_new();
    gtk_window_set_title(GTK_WINDOW(window), "host");
    gtk_window_present(GTK_WINDOW(window));
    EXPECT_TRUE(waitUntil([&] { return gtk_window_is_active(GTK_WINDOW(window)); }));
    return GTK_WINDOW(window);
  }
  /// The visible windows not opened by `openHostWindow`, the newest last.
  static std::vector<GtkWindow*> shownWindows() {
    std::vector<GtkWindow*> found;
    GListModel* const windows = gtk_window_get_toplevels();
    for (guint i = 0; i < g_list_model_get_n_items(windows); ++i) {
      auto* const window = static_cast<GtkWindow*>(g_list_model_get_item(windows, i));
      g_object_unref(window);
      const bool isHosts = std::string_view("host") == textOrEmpty(gtk_window_get_title(window));
      if (!isHosts && gtk_widget_get_mapped(GTK_WIDGET(window))) found.push_back(window);
    }
    return found;
  }
  static bool waitForWindows(std::size_t count) {
    return waitUntil([count] { return shownWindows().size() == count; });
  }
  /// The labels drawn in a window, one per line.
  static std::string textOn(GtkWindow* window) {
    std::string text;
    visit(GTK_WIDGET(window), [&text](GtkWidget* widget) {
      if (GTK_IS_LABEL(widget) && gtk_widget_get_mapped(widget))
        text += gtk_label_get_text(GTK_LABEL(widget)) + std::string("\n");
    });
    return text;
  }
  static bool shows(GtkWindow* window, std::string_view text) {
    return textOn(window).find(text) != std::string::npos;
  }
  /// Presses the button with this text or tooltip.
  static bool press(GtkWindow* window, std::string_view text) {
    GtkWidget* found = nullptr;
    visit(GTK_WIDGET(window), [&](GtkWidget* widget) {
      if (!GTK_IS_BUTTON(widget) || !gtk_widget_get_mapped(widget) || !gtk_widget_is_sensitive(widget))
        return;
      const char* const label = gtk_button_get_label(GTK_BUTTON(widget));
      const char* const tip = gtk_widget_get_tooltip_text(widget);
      if (text == textOrEmpty(label) || text == textOrEmpty(tip)) found = widget;
    });
    if (found) g_signal_emit_by_name(found, "clicked");
    return found != nullptr;
  }
  static void visit(GtkWidget* widget, const std::function<void(GtkWidget*)>& call) {
    call(widget);
    for (GtkWidget* child = gtk_widget_get_first_child(widget); child;
         child = gtk_widget_get_next_sibling(child)) {
      visit(child, call);
    }
  }

  std::filesystem::path folder_;
  std::string handlers_ = "[Default Applications]\n";
};

inline base::Url url(std::string_view text) { return base::Url::URLWithString(text).value(); }

}  // namespace tidewell::desktop

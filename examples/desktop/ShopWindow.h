// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <string_view>
#include <vector>

#include "Campaigns.h"

/// The demo's application window: a small shop and an inbox of campaign messages. Lives as long as the
/// process.
class ShopWindow {
 public:
  ShopWindow(GtkApplication* application, std::vector<Campaign> campaigns);
  ShopWindow(const ShopWindow&) = delete;
  ShopWindow& operator=(const ShopWindow&) = delete;

  [[nodiscard]] GtkWindow* window() const { return GTK_WINDOW(window_); }
  [[nodiscard]] const std::vector<Campaign>& campaigns() const { return campaigns_; }
  /// Runs the action of a message, like a click on it.
  void act(std::size_t index);
  /// Adds a line to the log in the window. Any thread.
  void addLine(std::string_view line);

 private:
  GtkWidget* makeShop();
  GtkWidget* makeInbox();

  const std::vector<Campaign> campaigns_;
  GtkWidget* window_;
  GtkWidget* list_ = nullptr;
  GtkWidget* activity_ = nullptr;
  std::vector<std::string> lines_;
};

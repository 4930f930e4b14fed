// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tidewell/base/Url.h"
#include "tidewell/desktop/internal/Glib.h"
#include "tidewell/desktop/internal/ProblemView.h"
#include "tidewell/desktop/internal/ShownWindow.h"
#include "tidewell/desktop/internal/WebPage.h"

namespace tidewell::desktop {

/// The in-app browser: a window with a header (back, forward, address, Done), a progress bar and a page. The
/// window is independent of the page, so that it can be closed whatever the page does.
class BrowserWindow final : public ShownWindow, private WebPageClient {
 public:
  BrowserWindow(const base::Url& url, WebPageSettings settings, std::function<void()> didFinish);
  ~BrowserWindow() override;

  [[nodiscard]] bool staysAbove() const override { return false; }
  [[nodiscard]] std::function<void()> takeCloseHandler() override { return std::move(didFinish_); }

 private:
  void makeHeader();
  void makeContent();
  void addShortcuts();
  void prepare();
  void tryAgain();
  enum class Lock { open, closed };
  void showAddress(const std::string& address, Lock lock);

  void pageStarted() override;
  void pageChanged() override;
  void pageFailed(WebPageFailure failure) override;
  void pageWantsToOpen(const std::string& url) override;

  const std::string url_;
  const WebPageSettings settings_;
  std::function<void()> didFinish_;
  ProblemView problem_;
  // Kept alive while the window is destroyed, because the page may still send notifications.
  Owned<GtkWidget> header_;
  Owned<GtkWidget> content_;
  GtkWidget* back_ = nullptr;
  GtkWidget* forward_ = nullptr;
  GtkWidget* reload_ = nullptr;
  GtkWidget* lock_ = nullptr;
  GtkWidget* address_ = nullptr;
  GtkWidget* progress_ = nullptr;
  GtkWidget* stack_ = nullptr;
  std::unique_ptr<WebPage> page_;  ///< null until the engine is ready
  bool hasFailed_ = false;
  std::shared_ptr<BrowserWindow*> self_ = std::make_shared<BrowserWindow*>(this);  ///< for deferred callbacks
};

}  // namespace tidewell::desktop

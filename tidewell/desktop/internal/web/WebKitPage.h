// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <webkit/webkit.h>

#include <string>

#include "tidewell/desktop/internal/Glib.h"
#include "tidewell/desktop/internal/WebPage.h"

namespace tidewell::desktop {

/// A page in a WebKitGTK web view with an ephemeral network session of its own: no cookies, cache or history
/// are shared between pages.
///
/// The page is untrusted and restricted: web addresses only; new windows open in place; no downloads, camera,
/// microphone, location, notifications, full screen or printing.
class WebKitPage final : public WebPage {
 public:
  WebKitPage(WebPageClient& client, WebPageSettings settings);
  ~WebKitPage() override;
  WebKitPage(const WebKitPage&) = delete;
  WebKitPage& operator=(const WebKitPage&) = delete;

  [[nodiscard]] GtkWidget* widget() override { return GTK_WIDGET(view_.get()); }
  void load(const std::string& url) override;
  void reload() override;
  void goBack() override { webkit_web_view_go_back(view_.get()); }
  void goForward() override { webkit_web_view_go_forward(view_.get()); }
  [[nodiscard]] WebPageState state() const override;

 private:
  void connectSignals();
  void changed(WebKitLoadEvent event);
  bool failed(const char* url, const GError* error);
  bool untrusted(const char* url, GTlsCertificate* certificate);
  bool decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type);
  void fail(WebPageFailure::Kind kind, std::string detail);
  void startTimer();
  void stopTimer();

  WebPageClient& client_;
  const WebPageSettings settings_;
  const Owned<WebKitNetworkSession> session_;
  const Owned<WebKitWebView> view_;
  std::string requested_;  ///< the address requested last
  bool hasCommitted_ = false;
  guint refusedStatus_ = 0;  ///< of the response refused last
  guint timer_ = 0;
};

}  // namespace tidewell::desktop

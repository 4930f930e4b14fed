// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/web/WebKitPage.h"

#include <cstring>
#include <utility>

#include "tidewell/desktop/internal/web/Trust.h"

namespace tidewell::desktop {
namespace {

bool isWeb(const char* url) {
  const OwnedText scheme(url ? g_uri_parse_scheme(url) : nullptr);
  return scheme &&
         (g_ascii_strcasecmp(scheme.get(), "https") == 0 || g_ascii_strcasecmp(scheme.get(), "http") == 0);
}

/// What frames may contain besides web pages: documents written by scripts, and inline images.
bool isInline(const char* url) {
  return url && (g_str_has_prefix(url, "about:") || g_str_has_prefix(url, "data:") ||
                 g_str_has_prefix(url, "blob:"));
}

/// Separate from the context of a host that uses WebKit itself. Created on first use and never destroyed.
WebKitWebContext* context() {
  static WebKitWebContext* const instance = webkit_web_context_new();
  return instance;
}

WebKitNetworkSession* makeSession(const std::string& proxy) {
  WebKitNetworkSession* const session = webkit_network_session_new_ephemeral();
  if (proxy == "-") {
    webkit_network_session_set_proxy_settings(session, WEBKIT_NETWORK_PROXY_MODE_NO_PROXY, nullptr);
  } else if (!proxy.empty()) {
    // A proxy without a scheme is an HTTP proxy, as in curl.
    const std::string address = proxy.find("://") == std::string::npos ? "http://" + proxy : proxy;
    WebKitNetworkProxySettings* const settings = webkit_network_proxy_settings_new(address.c_str(), nullptr);
    webkit_network_session_set_proxy_settings(session, WEBKIT_NETWORK_PROXY_MODE_CUSTOM, settings);
    webkit_network_proxy_settings_free(settings);
  }
  return session;
}

WebKitWebView* makeView(WebKitNetworkSession* session) {
  auto* const settings = webkit_settings_new_with_settings(
      "javascript-can-open-windows-automatically", FALSE, "enable-back-forward-navigation-gestures", TRUE,
      "enable-developer-extras", FALSE, "enable-fullscreen", FALSE, "enable-webrtc", FALSE,
      "media-playback-requires-user-gesture", TRUE, nullptr);
  const Owned<WebKitSettings> owned(settings);
  auto* const view = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context(),
                                                  "network-session", session, "settings", settings, nullptr));
  return WEBKIT_WEB_VIEW(g_object_ref_sink(view));
}

/// Removes menu items that would have no effect here.
void trimMenu(WebKitContextMenu* menu) {
  for (guint i = webkit_context_menu_get_n_items(menu); i-- > 0;) {
    WebKitContextMenuItem* const item = webkit_context_menu_get_item_at_position(menu, i);
    switch (webkit_context_menu_item_get_stock_action(item)) {
      case WEBKIT_CONTEXT_MENU_ACTION_OPEN_LINK_IN_NEW_WINDOW:
      case WEBKIT_CONTEXT_MENU_ACTION_OPEN_IMAGE_IN_NEW_WINDOW:
      case WEBKIT_CONTEXT_MENU_ACTION_OPEN_FRAME_IN_NEW_WINDOW:
      case WEBKIT_CONTEXT_MENU_ACTION_OPEN_VIDEO_IN_NEW_WINDOW:
      case WEBKIT_CONTEXT_MENU_ACTION_OPEN_AUDIO_IN_NEW_WINDOW:
      case WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_LINK_TO_DISK:
      case WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_IMAGE_TO_DISK:
      case WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_VIDEO_TO_DISK:
      case WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_AUDIO_TO_DISK:
        webkit_context_menu_remove(menu, item);
        break;
      default:
        break;
    }
  }
}

}  // namespace

WebKitPage::WebKitPage(WebPageClient& client, WebPageSettings settings)
    : client_(client),
      settings_(std::move(settings)),
      session_(makeSession(settings_.proxy)),
      view_(makeView(session_.get())) {
  connectSignals();
}

WebKitPage::~WebKitPage() {
  stopTimer();
  g_signal_handlers_disconnect_by_data(view_.get(), this);
  webkit_web_view_terminate_web_process(view_.get());
}

void WebKitPage::connectSignals() {
  const auto connect = [this](const char* signal, GCallback callback) {
    g_signal_connect(view_.get(), signal, callback, this);
  };
  connect("load-changed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, gpointer data) {
            static_cast<WebKitPage*>(data)->changed(event);
          }));
  connect("load-failed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent, char* url, GError* error,
                                        gpointer data) -> gboolean {
            return static_cast<WebKitPage*>(data)->failed(url, error);
          }));
  connect("load-failed-with-tls-errors",
          G_CALLBACK(+[](WebKitWebView*, char* url, GTlsCertificate* certificate, GTlsCertificateFlags,
                         gpointer data) -> gboolean {
            return static_cast<WebKitPage*>(data)->untrusted(url, certificate);
          }));
  connect("decide-policy", G_CALLBACK(+[](WebKitWebView*, WebKitPolicyDecision* decision,
                                          WebKitPolicyDecisionType type, gpointer data) -> gboolean {
            return static_cast<WebKitPage*>(data)->decide(decision, type);
          }));
  connect("web-process-terminated",
          G_CALLBACK(+[](WebKitWebView*, WebKitWebProcessTerminationReason reason, gpointer data) {
            if (reason == WEBKIT_WEB_PROCESS_TERMINATED_BY_API) return;
            static_cast<WebKitPage*>(data)->fail(WebPageFailure::Kind::stopped, {});
          }));
  for (const char* property :
       {"notify::estimated-load-progress", "notify::uri", "notify::title", "notify::is-loading"}) {
    connect(property, G_CALLBACK(+[](WebKitWebView*, GParamSpec*, gpointer data) {
              static_cast<WebKitPage*>(data)->client_.pageChanged();
            }));
  }
  connect("permission-request",
          G_CALLBACK(+[](WebKitWebView*, WebKitPermissionRequest* request, gpointer) -> gboolean {
            webkit_permission_request_deny(request);
            return TRUE;
          }));
  connect("enter-fullscreen", G_CALLBACK(+[](WebKitWebView*, gpointer) -> gboolean { return TRUE; }));
  connect("print",
          G_CALLBACK(+[](WebKitWebView*, WebKitPrintOperation*, gpointer) -> gboolean { return TRUE; }));
  connect("context-menu", G_CALLBACK(+[](WebKitWebView*, WebKitContextMenu* menu, WebKitHitTestResult*,
                                         gpointer) -> gboolean {
            trimMenu(menu);
            return FALSE;
          }));
  g_signal_connect(session_.get(), "download-started",
                   G_CALLBACK(+[](WebKitNetworkSession*, WebKitDownload* download, gpointer) {
                     webkit_download_cancel(download);
                   }),
                   nullptr);
}

void WebKitPage::load(const std::string& url) {
  requested_ = url;
  webkit_web_view_load_uri(view_.get(), url.c_str());
}

void WebKitPage::reload() { load(requested_); }

WebPageState WebKitPage::state() const {
  WebPageState state;
  const char* const address = webkit_web_view_get_uri(view_.get());
  state.address = address && *address ? address : requested_;
  state.title = textOf(webkit_web_view_get_title(view_.get()));
  state.isSecure = webkit_web_view_get_tls_info(view_.get(), nullptr, nullptr) != FALSE;
  state.isLoading = webkit_web_view_is_loading(view_.get()) != FALSE;
  state.progress = webkit_web_view_get_estimated_load_progress(view_.get());
  state.canGoBack = webkit_web_view_can_go_back(view_.get()) != FALSE;
  state.canGoForward = webkit_web_view_can_go_forward(view_.get()) != FALSE;
  return state;
}

void WebKitPage::changed(WebKitLoadEvent event) {
  const char* const address = webkit_web_view_get_uri(view_.get());
  switch (event) {
    case WEBKIT_LOAD_STARTED:
      if (isWeb(address)) requested_ = address;
      startTimer();
      client_.pageStarted();
      break;
    case WEBKIT_LOAD_REDIRECTED:
      break;
    case WEBKIT_LOAD_COMMITTED:
      if (isWeb(address)) requested_ = address;
      hasCommitted_ = true;
      stopTimer();
      break;
    case WEBKIT_LOAD_FINISHED:
      stopTimer();
      break;
  }
  client_.pageChanged();
}

bool WebKitPage::failed(const char* url, const GError* error) {
  stopTimer();
  // A new load cancels the previous one; that is not a failure.
  if (g_error_matches(error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED)) return true;
  if (error->domain == WEBKIT_POLICY_ERROR) {
    // A response was refused. Earlier content stays; an error status does not count as a file.
    const bool isError = refusedStatus_ >= 400;
    if (!hasCommitted_ && isError) {
      fail(WebPageFailure::Kind::notReached, "The answer was status " + std::to_string(refusedStatus_) + ".");
    } else if (!hasCommitted_) {
      fail(WebPageFailure::Kind::notShowable, {});
    }
    return true;
  }
  if (isWeb(url)) requested_ = url;
  fail(WebPageFailure::Kind::notReached, error->message);
  return true;
}

bool WebKitPage::untrusted(const char* url, GTlsCertificate* certificate) {
  stopTimer();
  if (isWeb(url)) requested_ = url;
  if (const auto host = hostTrustedBy(settings_.caFile, url, certificate)) {
    webkit_network_session_allow_tls_certificate_for_host(session_.get(), certificate, host->c_str());
    webkit_web_view_load_uri(view_.get(), url);
    return true;
  }
  fail(WebPageFailure::Kind::notTrusted, {});
  return true;
}

bool WebKitPage::decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type) {
  if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE) {
    auto* const response = WEBKIT_RESPONSE_POLICY_DECISION(decision);
    if (webkit_response_policy_decision_is_mime_type_supported(response)) return false;
    refusedStatus_ =
        webkit_uri_response_get_status_code(webkit_response_policy_decision_get_response(response));
    webkit_policy_decision_ignore(decision);
    return true;
  }
  WebKitNavigationAction* const action =
      webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  const char* const url = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
  const bool isGesture = webkit_navigation_action_is_user_gesture(action) != FALSE;
  if (type == WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION) {
    if (isGesture && isWeb(url)) load(std::string(url));
    if (isGesture && !isWeb(url) && !isInline(url)) client_.pageWantsToOpen(textOf(url));
    webkit_policy_decision_ignore(decision);
    return true;
  }
  if (isWeb(url) || isInline(url)) return false;
  if (isGesture) client_.pageWantsToOpen(textOf(url));
  webkit_policy_decision_ignore(decision);
  return true;
}

void WebKitPage::fail(WebPageFailure::Kind kind, std::string detail) {
  stopTimer();
  client_.pageFailed({kind, std::move(detail)});
}

void WebKitPage::startTimer() {
  stopTimer();
  timer_ = g_timeout_add(
      static_cast<guint>(settings_.timeout * 1000),
      +[](gpointer data) -> gboolean {
        auto* const page = static_cast<WebKitPage*>(data);
        page->timer_ = 0;
        webkit_web_view_stop_loading(page->view_.get());
        page->fail(WebPageFailure::Kind::tooSlow, {});
        return G_SOURCE_REMOVE;
      },
      this);
}

void WebKitPage::stopTimer() {
  if (timer_ != 0) g_source_remove(std::exchange(timer_, 0));
}

}  // namespace tidewell::desktop

tidewell::desktop::WebPage* tidewell_make_web_page(const char* version,
                                                   tidewell::desktop::WebPageClient& client,
                                                   const tidewell::desktop::WebPageSettings& settings,
                                                   std::string& problem) {
  if (std::strcmp(version, TIDEWELL_VERSION_STRING) != 0) {
    problem = "the browser cannot be loaded: it is of version " TIDEWELL_VERSION_STRING;
    return nullptr;
  }
  return new tidewell::desktop::WebKitPage(client, settings);
}

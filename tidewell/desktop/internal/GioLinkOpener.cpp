// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/GioLinkOpener.h"

#include <gdk/gdk.h>
#include <gio/gdesktopappinfo.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "tidewell/desktop/internal/Glib.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::desktop {
namespace {

/// These refer to files of this machine, or contain the content or a script themselves.
constexpr std::string_view kRefusedSchemes[] = {"file", "javascript", "data", "blob", "about", "vbscript"};

std::string lowered(std::string_view text) {
  const OwnedText low(g_ascii_strdown(text.data(), static_cast<gssize>(text.size())));
  return low.get();
}

bool isWebScheme(std::string_view scheme) { return scheme == "https" || scheme == "http"; }

/// Excludes a program whose command has no placeholder for a URL: it would start without the URL.
Owned<GAppInfo> handlerOf(const base::Url& url) {
  const auto scheme = openableScheme(url);
  Owned<GAppInfo> handler(scheme ? g_app_info_get_default_for_uri_scheme(scheme->c_str()) : nullptr);
  if (handler && !g_app_info_supports_uris(handler.get())) handler.reset();
  return handler;
}

bool claims(GAppInfo* application, const std::string& host) {
  if (!G_IS_DESKTOP_APP_INFO(application) || !g_app_info_supports_uris(application)) return false;
  gchar** const hosts =
      g_desktop_app_info_get_string_list(G_DESKTOP_APP_INFO(application), kUniversalLinksKey, nullptr);
  bool isClaimed = false;
  for (gchar** each = hosts; each && *each; ++each) isClaimed = isClaimed || lowered(*each) == host;
  g_strfreev(hosts);
  return isClaimed;
}

/// The application that claims the host of a web link. If there are several, the one whose desktop file sorts
/// first, so that the result does not depend on directory order. Reads every desktop file.
Owned<GAppInfo> claimantOf(const base::Url& url) {
  const auto scheme = openableScheme(url);
  const auto host = url.host();
  Owned<GAppInfo> found;
  if (!scheme || !isWebScheme(*scheme) || !host || host->empty()) return found;
  const std::string wanted = lowered(*host);
  GList* const all = g_app_info_get_all();
  for (GList* each = all; each; each = each->next) {
    auto* const application = static_cast<GAppInfo*>(each->data);
    if (!claims(application, wanted)) continue;
    if (!found || textOf(g_app_info_get_id(application)) < textOf(g_app_info_get_id(found.get()))) {
      found = share(application);
    }
  }
  g_list_free_full(all, g_object_unref);
  return found;
}

/// With a display, passes it to the started program, so that its window may take the focus.
Owned<GAppLaunchContext> launchContext() {
  GdkDisplay* const display = gdk_display_get_default();
  return Owned<GAppLaunchContext>(display ? G_APP_LAUNCH_CONTEXT(gdk_display_get_app_launch_context(display))
                                          : g_app_launch_context_new());
}

/// An open request. Owned by the callbacks through which it passes.
struct Opening {
  base::Url url;
  std::function<void(bool)> completion;

  void finish(bool isOpened) const {
    if (!completion) return;
    platform::Platform::current().mainQueue().async(
        [completion = completion, isOpened] { completion(isOpened); });
  }
};

void launch(std::unique_ptr<Opening> opening, GAppInfo* application) {
  if (!application) return opening->finish(false);
  GList uris{const_cast<char*>(opening->url.absoluteString().c_str()), nullptr, nullptr};
  const auto context = launchContext();
  g_app_info_launch_uris_async(
      application, &uris, context.get(), nullptr,
      +[](GObject* source, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Opening> done(static_cast<Opening*>(data));
        GError* error = nullptr;
        const bool isOpened = g_app_info_launch_uris_finish(G_APP_INFO(source), result, &error) != FALSE;
        if (const auto problem = own(error)) {
          platform::report("A link was not opened: " + displayText(textOf(problem), 256));
        }
        done->finish(isOpened);
      },
      opening.release());
}

/// Searches for the claimant on a GLib thread, because there may be hundreds of desktop files.
void launchClaimant(std::unique_ptr<Opening> opening) {
  const Owned<GTask> search(g_task_new(
      nullptr, nullptr,
      +[](GObject*, GAsyncResult* result, gpointer data) {
        const Owned<GAppInfo> claimant(
            static_cast<GAppInfo*>(g_task_propagate_pointer(G_TASK(result), nullptr)));
        launch(std::unique_ptr<Opening>(static_cast<Opening*>(data)), claimant.get());
      },
      opening.get()));
  g_task_set_task_data(
      search.get(), new base::Url(opening->url), +[](gpointer url) { delete static_cast<base::Url*>(url); });
  g_task_run_in_thread(
      search.get(), +[](GTask* task, gpointer, gpointer url, GCancellable*) {
        g_task_return_pointer(task, claimantOf(*static_cast<base::Url*>(url)).release(), g_object_unref);
      });
  static_cast<void>(opening.release());  // owned by the callback now
}

}  // namespace

std::optional<std::string> openableScheme(const base::Url& url) {
  const auto scheme = url.scheme();
  if (!scheme) return std::nullopt;
  std::string low = lowered(*scheme);
  if (std::find(std::begin(kRefusedSchemes), std::end(kRefusedSchemes), low) != std::end(kRefusedSchemes)) {
    return std::nullopt;
  }
  return low;
}

bool GioLinkOpener::canOpenURL(const std::optional<base::Url>& url) {
  return url && handlerOf(*url) != nullptr;
}

void GioLinkOpener::openURL(const base::Url& url, platform::OpenOptions options,
                            std::function<void(bool)> completion) {
  auto opening = std::make_unique<Opening>(Opening{url, std::move(completion)});
  if (options.universalLinksOnly) {
    launchClaimant(std::move(opening));
  } else {
    launch(std::move(opening), handlerOf(url).get());
  }
}

bool GioLinkOpener::openURL(const base::Url& url) {
  const auto handler = handlerOf(url);
  if (!handler) return false;
  GList uris{const_cast<char*>(url.absoluteString().c_str()), nullptr, nullptr};
  return g_app_info_launch_uris(handler.get(), &uris, launchContext().get(), nullptr) != FALSE;
}

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <string>

// The interface between the platform library and its WebKitGTK module. Both come from the same build, so they
// may share C++ types.
namespace tidewell::desktop {

struct WebPageSettings {
  std::string caFile;  ///< PEM file, trusted in addition to the system's certificates; "" for none
  std::string proxy;   ///< "" for the desktop's, "-" for none
  double timeout = 60.0;
};

/// What the browser's header shows.
struct WebPageState {
  std::string address;
  std::string title;
  bool isSecure = false;
  bool isLoading = false;
  double progress = 0;  ///< from 0 to 1
  bool canGoBack = false;
  bool canGoForward = false;
};

/// Why a page cannot be shown.
struct WebPageFailure {
  enum class Kind { notReached, notTrusted, notShowable, tooSlow, stopped, noBrowser };
  Kind kind = Kind::notReached;
  std::string detail{};
};

/// Receives notifications of a page. Main thread only.
class WebPageClient {
 public:
  /// A load has started; earlier failures no longer apply.
  virtual void pageStarted() = 0;
  virtual void pageChanged() = 0;
  virtual void pageFailed(WebPageFailure failure) = 0;
  /// The user followed a link that is not a web page.
  virtual void pageWantsToOpen(const std::string& url) = 0;

 protected:
  ~WebPageClient() = default;
};

/// A web page in a widget. Main thread only. Operations do not call the client once the page's destruction
/// has begun.
class WebPage {
 public:
  virtual ~WebPage() = default;
  [[nodiscard]] virtual GtkWidget* widget() = 0;
  virtual void load(const std::string& url) = 0;
  /// Reloads the current page, or the address that failed last.
  virtual void reload() = 0;
  virtual void goBack() = 0;
  virtual void goForward() = 0;
  [[nodiscard]] virtual WebPageState state() const = 0;
};

using WebPageMaker = WebPage* (*)(const char* version, WebPageClient& client, const WebPageSettings& settings,
                                  std::string& problem);

/// The function that creates pages. Its first call loads WebKitGTK, which takes a quarter of a second and
/// should happen on another thread. Null, with the reason in `problem`, if it is unavailable.
[[nodiscard]] WebPageMaker loadWebPageMaker(std::string& problem) noexcept;

}  // namespace tidewell::desktop

#if defined(TIDEWELL_BROWSER_MODULE)
#define TIDEWELL_BROWSER_ENTRY __attribute__((visibility("default")))
#else
#define TIDEWELL_BROWSER_ENTRY
#endif

/// The module's entry point. Null, with the reason in `problem`, if module and library have different
/// versions.
extern "C" TIDEWELL_BROWSER_ENTRY tidewell::desktop::WebPage* tidewell_make_web_page(
    const char* version, tidewell::desktop::WebPageClient& client,
    const tidewell::desktop::WebPageSettings& settings, std::string& problem);

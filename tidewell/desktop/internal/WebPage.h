#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <string>

// The interface between the platform's library and its module with WebKitGTK. Both are built together, so
// they may share C++ types.
namespace tidewell::desktop {

struct WebPageSettings {
  std::string caFile;  ///< PEM; certificates that are trusted beside the system's; "" for none
  std::string proxy;   ///< "" for the desktop's, "-" for none
  double timeout = 60.0;
};

/// What the header of the browser shows.
struct WebPageState {
  std::string address;
  std::string title;
  bool isSecure = false;
  bool isLoading = false;
  double progress = 0;  ///< 0 to 1
  bool canGoBack = false;
  bool canGoForward = false;
};

/// Why there is nothing to see.
struct WebPageFailure {
  enum class Kind { notReached, notTrusted, notShowable, tooSlow, stopped, noBrowser };
  Kind kind = Kind::notReached;
  std::string detail{};
};

/// Whom a page tells. Main thread only.
class WebPageClient {
 public:
  /// A load has begun: whatever failed before is over.
  virtual void pageStarted() = 0;
  virtual void pageChanged() = 0;
  virtual void pageFailed(WebPageFailure failure) = 0;
  /// The user followed a link that is no web page.
  virtual void pageWantsToOpen(const std::string& url) = 0;

 protected:
  ~WebPageClient() = default;
};

/// A page of the web in a widget. Main thread only. Nothing of the client is called from within an operation
/// once the page is being destroyed.
class WebPage {
 public:
  virtual ~WebPage() = default;
  [[nodiscard]] virtual GtkWidget* widget() = 0;
  virtual void load(const std::string& url) = 0;
  /// The address that failed last, or the page that is there.
  virtual void reload() = 0;
  virtual void goBack() = 0;
  virtual void goForward() = 0;
  [[nodiscard]] virtual WebPageState state() const = 0;
};

using WebPageMaker = WebPage* (*)(const char* version, WebPageClient& client, const WebPageSettings& settings,
                                  std::string& problem);

/// The function that makes pages, which has WebKitGTK loaded at its first call: a quarter of a second, so
/// that call is better made on another thread. Null, and a sentence in `problem`, where it cannot be had.
[[nodiscard]] WebPageMaker loadWebPageMaker(std::string& problem) noexcept;

}  // namespace tidewell::desktop

#if defined(TIDEWELL_BROWSER_MODULE)
#define TIDEWELL_BROWSER_ENTRY __attribute__((visibility("default")))
#else
#define TIDEWELL_BROWSER_ENTRY
#endif

/// The module's entry. Null, with a sentence, where module and library are not of one version.
extern "C" TIDEWELL_BROWSER_ENTRY tidewell::desktop::WebPage* tidewell_make_web_page(
    const char* version, tidewell::desktop::WebPageClient& client,
    const tidewell::desktop::WebPageSettings& settings, std::string& problem);

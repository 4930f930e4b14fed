// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/DesktopPlatform.h"

#include <glib-unix.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Loader.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/desktop/internal/ForegroundWatch.h"
#include "tidewell/desktop/internal/GioLinkOpener.h"
#include "tidewell/desktop/internal/GtkPresenter.h"
#include "tidewell/desktop/internal/OptionsState.h"
#include "tidewell/desktop/internal/SecretKeychain.h"
#include "tidewell/desktop/internal/SecretService.h"
#include "tidewell/platform/UIWindow.h"
#include "tidewell/posix/internal/RaisedRights.h"
#include "tidewell/posix/internal/SignalBlock.h"

namespace tidewell::desktop {
namespace {

posix::Options forPosix(const Options& options) {
  posix::Options result = options.state().posix;
  result.setMainLoop(posix::MainLoop::host);  // drained by GLib's default main context
  return result;
}

WebPageSettings pageSettings(const Options::State& options) {
  const posix::Options::State& base = options.posix.state();
  // Keeps the milliseconds within the range of GLib's timers.
  return {base.caFile, base.proxy, std::clamp(options.pageTimeout, 0.001, 86400.0)};
}

/// Creates the key window at which look-ups start. It represents the application's GTK windows: alerts and
/// pages are presented on its root controller. A host with controllers of its own makes another window key.
void makeKeyWindow() {
  static base::NeverDestroyed<std::shared_ptr<platform::UIWindow>> window(
      runtime::make<platform::UIWindow>());
  (*window)->setRootViewController(runtime::make<platform::UIViewController>());
  (*window)->makeKeyAndVisible();
}

/// Writes the reason to standard error. A closed pipe raises no signal in the host.
void reportNotInstalled(const char* reason) {
  posix::SignalBlock block({SIGPIPE, SIGXFSZ});
  if (std::fprintf(stderr, "Tidewell: not installed: %s\n", reason) < 0) block.consume();
}

}  // namespace

struct DesktopPlatform::State {
  State(Options::State given, posix::PosixPlatform& under) : options(std::move(given)), base(under) {
    if (options.usesSecretService && !base.isDisabled()) {
      keychain.emplace(std::make_unique<SecretService>(options.posix.state().bundleIdentifier),
                       base.keychain());
    }
    static_cast<void>(base.pollMainQueue());  // makes this the main queue's thread
    // GTK ends a process with raised privileges.
    if (!base.isDisabled() && !posix::hasRaisedRights() && gtk_init_check()) {
      presenter.emplace(pageSettings(options));
      if (options.followsWindows) {
        foreground.emplace([this] { base.enterForeground(); }, [this] { base.enterBackground(); });
      }
    }
    // Last: if the constructor raises, the destructor does not remove the source.
    queueSource = g_unix_fd_add(
        base.mainQueueDescriptor(), G_IO_IN,
        +[](gint, GIOCondition, gpointer queue) -> gboolean {
          static_cast<posix::PosixPlatform*>(queue)->pollMainQueue();
          return G_SOURCE_CONTINUE;
        },
        &base);
  }
  ~State() { g_source_remove(queueSource); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  const Options::State options;
  posix::PosixPlatform& base;
  std::optional<SecretKeychain> keychain;  ///< no value: the file of `posix`
  GioLinkOpener linkOpener;
  guint queueSource = 0;
  std::optional<GtkPresenter> presenter;  ///< no value without a display
  std::optional<ForegroundWatch> foreground;
};

DesktopPlatform::DesktopPlatform(Options options)
    : DesktopPlatform(options, std::make_shared<posix::PosixPlatform>(forPosix(options))) {}
DesktopPlatform::DesktopPlatform(Options options, const std::shared_ptr<posix::PosixPlatform>& base)
    : ForwardingPlatform(base), state_(std::make_unique<State>(options.state(), *base)) {}
DesktopPlatform::~DesktopPlatform() = default;

platform::Keychain& DesktopPlatform::keychain() {
  if (state_->keychain) return *state_->keychain;
  return state_->base.keychain();
}
platform::LinkOpener& DesktopPlatform::linkOpener() {
  // The environment determines the programs that open links; it is not trusted with raised privileges.
  if (state_->options.posix.state().linkOpener || posix::hasRaisedRights()) return state_->base.linkOpener();
  return state_->linkOpener;
}
platform::Presenter& DesktopPlatform::presenter() {
  if (state_->presenter) return *state_->presenter;
  return state_->base.presenter();
}

bool DesktopPlatform::isDisabled() const { return state_->base.isDisabled(); }

void DesktopPlatform::enterForeground() { state_->base.enterForeground(); }
void DesktopPlatform::enterBackground() { state_->base.enterBackground(); }

DesktopPlatform* install(Options options) {
  const base::CancellationShield shield;
  // A plug-in may be closed while its completions are pending.
  base::keepLoaded(__builtin_return_address(0));
  try {
    if (const std::string complaint = complaintAbout(options); !complaint.empty()) {
      reportNotInstalled(complaint.c_str());
      return nullptr;
    }
    if (platform::Platform::isInstalled()) {
      platform::announce(platform::Trouble::secondPlatform, platform::kSecondPlatform);
      return nullptr;
    }
    auto made = std::make_shared<DesktopPlatform>(std::move(options));
    DesktopPlatform* const pointer = made.get();
    if (made->isDisabled()) {
      platform::Platform::keep(std::move(made));
      return pointer;
    }
    if (!platform::Platform::install(std::move(made))) return nullptr;
    makeKeyWindow();
    return pointer;
  } catch (const std::bad_alloc&) {
    reportNotInstalled("out of memory");
  }
  return nullptr;
}

}  // namespace tidewell::desktop

// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/WebEngine.h"

#include <gio/gio.h>

#include <memory>
#include <utility>

#include "tidewell/desktop/internal/Glib.h"

namespace tidewell::desktop {
namespace {

struct Engine {
  WebPageMaker maker = nullptr;
  std::string problem{};
};

using Ready = std::function<void(WebPageMaker, const std::string&)>;

/// Whether WebKit creates its sandbox with bubblewrap; inside Flatpak it uses Flatpak's.
bool usesBubblewrap() {
  return g_strcmp0(g_getenv("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS"), "1") != 0 &&
         !g_file_test("/.flatpak-info", G_FILE_TEST_EXISTS);
}

bool sandboxWorks() {
  if (!usesBubblewrap()) return true;
  const Owned<GSubprocess> probe(g_subprocess_new(
      static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_SILENCE | G_SUBPROCESS_FLAGS_STDERR_SILENCE),
      nullptr, "bwrap", "--ro-bind", "/", "/", "true", nullptr));
  return probe && g_subprocess_wait_check(probe.get(), nullptr, nullptr);
}

/// Runs on a GLib thread.
void prepare(GTask* task, gpointer, gpointer, GCancellable*) {
  auto engine = std::make_unique<Engine>();
  if (!sandboxWorks()) {
    engine->problem = "The sandbox for web pages cannot be built.";
  } else {
    engine->maker = loadWebPageMaker(engine->problem);
  }
  g_task_return_pointer(
      task, engine.release(), +[](gpointer made) { delete static_cast<Engine*>(made); });
}

}  // namespace

void prepareWebEngine(Ready ready) {
  const Owned<GTask> task(g_task_new(
      nullptr, nullptr,
      +[](GObject*, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<Ready> call(static_cast<Ready*>(data));
        const std::unique_ptr<Engine> engine(
            static_cast<Engine*>(g_task_propagate_pointer(G_TASK(result), nullptr)));
        if (engine) (*call)(engine->maker, engine->problem);
      },
      new Ready(std::move(ready))));
  g_task_run_in_thread(task.get(), prepare);
}

}  // namespace tidewell::desktop

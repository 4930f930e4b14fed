// SPDX-License-Identifier: Apache-2.0
// A small shop that uses the SDK on a desktop: links that open other applications, a rich landing page, an
// alert. The backend is a stand-in in this process.
//
//   desktop                       the shop
//   desktop --tour FOLDER         opens every message and writes a screenshot of each step to the folder
//   desktop --receive NAME LINK   one of the applications that links open (see scripts/demo-desktop)
#include <gtk/gtk.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "LandingPage.h"
#include "Receiver.h"
#include "ShopWindow.h"
#include "Style.h"
#include "Tour.h"
#include "TunnelProxy.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/desktop/DesktopPlatform.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/testing/StandInBackend.h"

namespace {

constexpr const char* kShopHost = "shop.fjord.example";
constexpr const char* kConfiguration =
    R"({"a_s": "allowed", "i_s": "allowed", "e_b_c": 50, "b_e": ["spam"]})";

/// Receives the universal links of the shop itself.
class ShopDelegate : public tidewell::platform::UIApplicationDelegate {
 public:
  bool continueUserActivity(tidewell::platform::UIApplication&, tidewell::platform::NSUserActivity& activity,
                            const tidewell::platform::RestorationHandler&) override {
    if (const auto url = activity.webpageURL()) link = url->absoluteString();
    if (shop != nullptr) shop->addLine("Shop - shows what is behind " + link);
    return true;
  }
  ShopWindow* shop = nullptr;
  std::string link;
};

/// The state of the demo.
struct Demo {
  explicit Demo(std::string folder) : pictureFolder(std::move(folder)) {
    backend.setConfiguration(kConfiguration);
    backend.setResource("/autumn", std::string(kLandingPage), "text/html; charset=utf-8");
    backend.setResource("/autumn/painted", "", "text/plain");
  }

  [[nodiscard]] bool isPagePainted() const {
    for (const auto& request : backend.requests()) {
      if (request.path == "/autumn/painted") return true;
    }
    return false;
  }

  const std::string pictureFolder;  ///< "" without a tour
  tidewell::testing::StandInBackend backend{[] {
    tidewell::testing::StandInBackendOptions options;
    options.extraHosts = {kShopHost};
    return options;
  }()};
  TunnelProxy proxy{backend.port(), [](const std::string& host) {
                      return host == kShopHost || host.ends_with(".tidewell.example");
                    }};
  std::unique_ptr<ShopWindow> shop;
  std::shared_ptr<ShopDelegate> delegate;
  std::unique_ptr<Tour> tour;
};

bool installPlatform(Demo& demo) {
  tidewell::desktop::Options options;
  options.posix().setBundleIdentifier("org.example.fjord");
  options.posix().setVersion("3.2");
  options.posix().setConsoleSink([&demo](std::string_view line) {
    if (demo.shop) demo.shop->addLine(line);
  });
  // The demo's backend; omit these two in an application.
  options.posix().setCaFile(demo.backend.caFile());
  options.posix().setProxy(demo.proxy.address());
  return tidewell::desktop::install(options) != nullptr;
}

void activate(GtkApplication* application, Demo* demo) {
  useDemoStyle();
  demo->shop = std::make_unique<ShopWindow>(application, makeCampaigns());
  gtk_window_present(demo->shop->window());
  demo->delegate = tidewell::runtime::make<ShopDelegate>();
  demo->delegate->shop = demo->shop.get();
  tidewell::platform::UIApplication::sharedApplication()->setDelegate(demo->delegate);

  auto& sdk = tidewell::TidewellCore::sharedInstance();
  sdk.debug(tidewell::TWLogLevelDebug);
  sdk.initializeWithAppID("DEMO_APP");

  if (demo->pictureFolder.empty()) return;
  const char* const records = std::getenv("TIDEWELL_DEMO_RECORDS");
  TourSight sight;
  sight.isSynced = [] { return tidewell::TWConfigManager::sharedInstance().getEventBatchCount() == 50; };
  sight.isPagePainted = [demo] { return demo->isPagePainted(); };
  sight.hasContinued = [demo] { return demo->delegate->link == "https://shop.fjord.example/orders/4711"; };
  sight.recordFolder = records != nullptr ? records : "";
  demo->tour = std::make_unique<Tour>(*demo->shop, std::move(sight), demo->pictureFolder);
  demo->tour->start();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view mode = argc > 1 ? argv[1] : "";
  if (mode == "--receive" && argc == 4) return runReceiver(argv[2], argv[3]);
  if (argc > 1 && (mode != "--tour" || argc != 3)) {
    std::fprintf(stderr, "usage: desktop [--tour FOLDER | --receive NAME LINK]\n");
    return 2;
  }
  Demo demo(argc == 3 ? argv[2] : "");
  if (!installPlatform(demo)) return 1;
  GtkApplication* const application = gtk_application_new("org.example.fjord", G_APPLICATION_NON_UNIQUE);
  g_signal_connect(application, "activate", G_CALLBACK(activate), &demo);
  const int status = g_application_run(G_APPLICATION(application), 0, nullptr);
  g_object_unref(application);
  return demo.tour && !demo.tour->isAllRight() ? 1 : status;
}

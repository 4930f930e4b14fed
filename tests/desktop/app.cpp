// One life of an application: prints the identity under which its device is known, once it is kept.
#include <cstdio>
#include <future>

#include "tidewell/core/TWNetwork/Utils/TWNetworkUtils.h"
#include "tidewell/desktop/DesktopPlatform.h"

int main() {
  tidewell::desktop::Options options;
  options.posix.bundleIdentifier = "org.example.shop";
  options.posix.version = "1.0";
  if (!tidewell::desktop::install(options)) return 1;
  const auto identity = tidewell::TWNetworkUtils::getDeviceUniqueID();
  std::promise<void> kept;  // it is saved on this queue
  tidewell::platform::Platform::current().globalQueue().async([&] { kept.set_value(); });
  kept.get_future().wait();
  std::printf("%s\n", identity.value_or("").c_str());
}

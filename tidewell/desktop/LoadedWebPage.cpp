#include <dlfcn.h>

#include <string>

#include "tidewell/desktop/WebPage.h"

// For shared libraries: linking WebKitGTK makes a host start a quarter of a second later, so the part that
// needs it is a module that lies beside this library and is loaded for the first page.
namespace tidewell::desktop {
namespace {

constexpr const char* kModuleName = "libTidewellBrowser.so";

/// The folder that this library was loaded from, with a slash at its end.
std::string ownFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&loadWebPageMaker), &info) == 0 || !info.dli_fname) return {};
  const std::string file = info.dli_fname;
  return file.substr(0, file.rfind('/') + 1);
}

std::string lastLoaderError() {
  const char* text = dlerror();
  return text ? text : "unknown error";
}

}  // namespace

WebPageMaker loadWebPageMaker(std::string& problem) noexcept {
  const std::string path = ownFolder() + kModuleName;
  // Never closed, and not to be unloaded by anybody: WebKit cannot be.
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  void* maker = module ? dlsym(module, "tidewell_make_web_page") : nullptr;
  if (!maker) problem = "the browser cannot be loaded: " + lastLoaderError();
  return reinterpret_cast<WebPageMaker>(maker);
}

}  // namespace tidewell::desktop

#include <dlfcn.h>

#include <new>
#include <string>

#include "tidewell/posix/TransferEngine.h"

// For shared libraries: linking libcurl costs a host 4 ms and 6 MB before its `main`, so the part that needs
// it is a module that lies beside this library and is loaded at the first request.
namespace tidewell::posix {
namespace {

constexpr const char* kModuleName = "libTidewellUrlSession.so";

/// The folder that this library was loaded from, with a slash at its end.
std::string ownFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&loadTransferEngine), &info) == 0 || info.dli_fname == nullptr)
    return {};
  const std::string file = info.dli_fname;
  return file.substr(0, file.rfind('/') + 1);
}

std::string lastLoaderError() {
  const char* text = dlerror();
  return text != nullptr ? text : "unknown error";
}

TransferEngine* load(TransferClient& client, const TransportSettings& settings, std::string& problem) {
  const std::string path = ownFolder() + kModuleName;
  // Never closed, and not to be unloaded by anybody: its thread runs until the process ends.
  void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (module == nullptr) {
    problem = "the URL session cannot be loaded: " + lastLoaderError();
    return nullptr;
  }
  const auto make = reinterpret_cast<decltype(&tidewell_make_transfer_engine)>(
      dlsym(module, "tidewell_make_transfer_engine"));
  if (make == nullptr) {
    problem = "the URL session cannot be loaded: " + lastLoaderError();
    return nullptr;
  }
  return make(TIDEWELL_VERSION_STRING, client, settings, problem);
}

}  // namespace

TransferEngine* loadTransferEngine(TransferClient& client, const TransportSettings& settings,
                                   std::string& problem) noexcept {
  try {
    return load(client, settings, problem);
  } catch (const std::bad_alloc&) {
    problem = "out of memory";  // short enough to need none
    return nullptr;
  }
}

}  // namespace tidewell::posix

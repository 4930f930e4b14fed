// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "tidewell/base/internal/Loader.h"

namespace tidewell::base {

/// A module in the folder TIDEWELL_MODULE_FOLDER beside the library that contains `code`. Construct it while
/// that library is being loaded, since the library's path may be relative to the working directory at that
/// time. Any thread; throws only `std::bad_alloc`.
class NeighbourModule {
 public:
  NeighbourModule(const void* code, const char* name) {
    Dl_info info{};
    if (dladdr(code, &info) == 0 || info.dli_fname == nullptr) return;
    const std::string library = info.dli_fname;
    char folder[PATH_MAX] = "";
    if (!library.starts_with('/')) {
      if (!getcwd(folder, sizeof folder)) return;
      path_ = std::string(folder) + '/';
    }
    path_ += library.substr(0, library.rfind('/') + 1) + TIDEWELL_MODULE_FOLDER + '/' + name;
  }

  /// Loads the module and finds a function in it. Null, with the reason in `problem`, on failure. The module
  /// is never unloaded, because it has threads.
  void* function(const char* name, std::string& problem) const {
    if (!canLoadLibraries()) {
      problem = "the process was forked while a library was being loaded";
      return nullptr;
    }
    if (path_.empty()) {
      problem = "the folder of the library is not known";
      return nullptr;
    }
    void* const module = loadModule(path_.c_str());
    void* const found = module ? dlsym(module, name) : nullptr;
    if (!found) {
      const char* const text = dlerror();
      problem = text ? text : "unknown error";
    }
    return found;
  }

 private:
  std::string path_;  ///< absolute; "" if unknown
};

}  // namespace tidewell::base

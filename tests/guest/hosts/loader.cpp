// A program that links nothing of the SDK and loads plug-ins which do: `guest_loader CASE PLUGIN…`.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

namespace {

struct Plugin {
  explicit Plugin(const char* path) : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) {
      std::fprintf(stderr, "%s\n", dlerror());
      std::exit(9);
    }
  }
  template <class Function>
  [[nodiscard]] auto* function(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(handle, name));
  }
  void* handle;
};

/// Both install a platform and start the SDK, at once.
int twice(char** paths) {
  const Plugin one(paths[0]);
  const Plugin two(paths[1]);
  bool first[2] = {};
  std::thread other([&] { first[1] = two.function<bool()>("pluginStart")(); });
  first[0] = one.function<bool()>("pluginStart")();
  other.join();
  if (first[0] == first[1]) return 1;
  for (int i = 0; i < 5000 && one.function<int()>("pluginBatchCount")() != 7; ++i) usleep(2000);
  std::printf("%d %d\n", one.function<int()>("pluginBatchCount")(),
              two.function<int()>("pluginBatchCount")());
  return 0;
}

/// The plug-in is closed while its requests run.
int closed(char** paths) {
  {
    const Plugin plugin(paths[0]);
    plugin.function<bool()>("pluginStart")();
    for (int i = 0; i < 8; ++i) plugin.function<void()>("pluginSend")();
    std::printf("sent\n");
    std::string line;
    std::getline(std::cin, line);
    dlclose(plugin.handle);
  }
  std::printf("closed\n");
  std::string line;
  std::getline(std::cin, line);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (argc < 4) return 98;
  return argv[1] == std::string("twice") ? twice(argv + 2) : closed(argv + 2);
}

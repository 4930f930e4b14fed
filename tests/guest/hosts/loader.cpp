// SPDX-License-Identifier: Apache-2.0
// A program that does not link the SDK but loads plug-ins that do: `guest_loader CASE PLUGIN PLUGIN`.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

int main(int, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  using Entry = int(const char*);
  void* handles[2] = {};
  Entry* plugins[2] = {};
  for (const int i : {0, 1}) {
    handles[i] = dlopen(argv[2 + i], RTLD_NOW | RTLD_LOCAL);
    if (handles[i] == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 9;
    plugins[i] = reinterpret_cast<Entry*>(dlsym(handles[i], "pluginCall"));
  }
  if (argv[1] == std::string("twice")) {  // both install a platform and start the SDK at the same time
    int first[2] = {};
    std::thread other([&] { first[1] = plugins[1]("start"); });
    first[0] = plugins[0]("start");
    other.join();
    if (first[0] == first[1]) return 1;
    while (plugins[0]("batch count") != 7) usleep(2000);
    std::printf("%d %d\n", plugins[0]("batch count"), plugins[1]("batch count"));
  } else {  // the plug-in is closed while its requests run
    plugins[0]("start");
    for (int i = 0; i < 8; ++i) plugins[0]("send");
    for (void* const each : handles) dlclose(each);
    std::printf("closed\n");
    std::cin.get();
  }
  return 0;
}

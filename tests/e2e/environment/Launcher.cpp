// Runs a scenario of Scenarios.cpp, loaded as a plug-in, so that it can also be unloaded:
//   environment-app PLUG-IN SCENARIO ...
#include <dlfcn.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  const auto run = reinterpret_cast<int (*)(int, char**)>(dlsym(plugin, "run"));
  const int result = run(argc - 2, argv + 2);
  if (std::strcmp(argv[2], "unload") == 0) {
    dlclose(plugin);
    std::puts("unloaded");
    std::fflush(stdout);
    std::getchar();  // The library works on until the test ends this.
  }
  return result;
}

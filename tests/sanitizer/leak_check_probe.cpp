// Shows what LeakSanitizer makes of this test build's programs:
//   leak_check_probe unload   loads a library that keeps a block in a global,
//                             unloads it and exits: no leak may be reported.
//   leak_check_probe leak     loses a block of its own: the report must name
//                             the function that allocated it.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

int LoadAndUnload(const char* library) {
  void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    std::fprintf(stderr, "cannot load %s: %s\n", library, dlerror());
    return 2;
  }
  using Keep = int (*)(std::size_t);
  auto keep = reinterpret_cast<Keep>(dlsym(handle, "unloaded_module_keep"));
  if (keep == nullptr || keep(128) == 0) return 2;
  return dlclose(handle) == 0 ? 0 : 2;
}

// Not inlined, so that its name is in the leak's stack.
[[gnu::noinline]] void LeakCheckProbeLosesABlock() {
  auto block = std::make_unique<char[]>(64);
  std::memset(block.get(), 1, 64);
  static_cast<void>(block.release());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "unload") == 0) return LoadAndUnload(argv[2]);
  if (argc == 2 && std::strcmp(argv[1], "leak") == 0) {
    LeakCheckProbeLosesABlock();
    return 0;
  }
  std::fprintf(stderr, "usage: %s unload LIBRARY | leak\n", argv[0]);
  return 2;
}

#include "monitor/library_load.h"

#include <dlfcn.h>

namespace {

// Stands for the loader's handle: where the library, or the program that it is linked into, begins in memory.
HINSTANCE OwnModule() {
  static const char inside = 0;
  Dl_info info{};
  return dladdr(&inside, &info) != 0 ? info.dli_fbase : nullptr;
}

// A process that ends runs its destructors while the host's objects may be gone already. A host that has a context of
// its own takes it back with Sc3xxSetHost(null) before that.
struct LoaderHook {
  LoaderHook() { sc3xxmon::LibraryLoad(OwnModule(), 1); }
  ~LoaderHook() { sc3xxmon::LibraryLoad(OwnModule(), 0); }
};

const LoaderHook hook;

}  // namespace

#include "monitor/library_load.h"

namespace {

// A process that ends runs its destructors while the host's objects may be gone already. A host that has a context of
// its own takes it back with Sc3xxSetHost(null) before that.
struct LoaderHook {
  LoaderHook() { sc3xxmon::LibraryLoad(nullptr, 1); }
  ~LoaderHook() { sc3xxmon::LibraryLoad(nullptr, 0); }
};

const LoaderHook hook;

}  // namespace

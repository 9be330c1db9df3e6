#include "monitor/library_load.h"

#include <exception>  // says which runtime this is

#if defined(__GLIBCXX__)
namespace __gnu_cxx {
void __freeres();
}
#endif

namespace {

// The runtime that is linked in keeps memory for throwing when there is none left, and leaves it to the end of the
// process. A library that goes earlier has to give it back, or every load costs 70 kilobytes.
void ReleaseRuntime() {
#if defined(__GLIBCXX__)
  __gnu_cxx::__freeres();
#endif
}

}  // namespace

// Under the loader's lock: nothing may be loaded, waited for or started here. `reserved` is null unless the process ends,
// and then its memory is nobody's business any more.
extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  sc3xxmon::LibraryLoad(module, reason);
  if (reason == DLL_PROCESS_DETACH && reserved == nullptr) {
    ReleaseRuntime();
  }
  return TRUE;
}

#include "support/loaded_library.h"

#include <stdexcept>

namespace sc3xxmon::test {
namespace {

std::wstring FolderOf(const std::wstring& path) {
  return path.substr(0, path.rfind(L'\\'));
}

}  // namespace

std::wstring ProgramFolder() {
  wchar_t program[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  return FolderOf(program);
}

std::wstring LibraryPath() {
  return FolderOf(ProgramFolder()) + L"\\sc3xxmon.dll";
}

LoadedLibrary::LoadedLibrary() : module_(LoadLibraryW(LibraryPath().c_str())) {
  if (module_ == nullptr) {
    throw std::runtime_error("sc3xxmon.dll can't be loaded: error " + std::to_string(GetLastError()));
  }
}

LoadedLibrary::~LoadedLibrary() {
  FreeLibrary(module_);
}

MONITOR2* LoadedLibrary::Initialize(BOOL local) const {
  using Door = MONITOR2*(WINAPI*)(PMONITORINIT, HANDLE*);
  const auto door = reinterpret_cast<Door>(reinterpret_cast<void*>(GetProcAddress(module_, "InitializePrintMonitor2")));
  MONITORINIT init{};
  init.cbSize = sizeof(init);
  init.bLocal = local;
  HANDLE handle = &init;
  MONITOR2* table = door(&init, &handle);
  if (handle != nullptr) {
    throw std::runtime_error("the monitor's handle isn't null");
  }
  return table;
}

}  // namespace sc3xxmon::test

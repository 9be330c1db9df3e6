#include "platform/module.h"

#include <shlwapi.h>

#include <array>

namespace sc3xxmon::platform {
namespace {

// The loader's answer first; where it has none, the start of the memory that the code was mapped into, which is the same
// number for a module.
HMODULE ModuleAt(const void* function) {
  HMODULE module = nullptr;
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (GetModuleHandleExW(kFlags, static_cast<LPCWSTR>(function), &module) != FALSE) {
    return module;
  }
  MEMORY_BASIC_INFORMATION memory{};
  return VirtualQuery(function, &memory, sizeof(memory)) != 0 ? static_cast<HMODULE>(memory.AllocationBase) : nullptr;
}

}  // namespace

std::wstring ModuleFileNameOf(const void* function) {
  const HMODULE module = ModuleAt(function);
  return module != nullptr ? ModuleFileName(module) : std::wstring();
}

std::wstring ModuleFileName(HINSTANCE module) {
  std::array<wchar_t, MAX_PATH> name{};
  if (GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size())) == 0) {
    return {};
  }
  name.back() = L'\0';  // a path that was cut to fit may come without its end
  PathStripPathW(name.data());
  return name.data();
}

void DisableThreadNotifications(HINSTANCE module) {
  DisableThreadLibraryCalls(module);
}

}  // namespace sc3xxmon::platform

#include <stdexcept>

#include "sc3xxmon/spooler_abi.h"

#include "support/loaded_library.h"
#include "support/module_copy.h"

namespace sc3xxmon::test {
namespace {

std::wstring Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

std::wstring FolderOfThisProcess(const std::string& firstWord) {
  wchar_t folder[MAX_PATH] = {};
  GetTempPathW(MAX_PATH, folder);
  return std::wstring(folder) + Wide(firstWord) + L"-of-" + std::to_wstring(GetCurrentProcessId());
}

}  // namespace

// A loaded file can't be removed here; it goes with the prefix that the tests run in. The loader adds an extension to a
// name that has none, and takes a dot at the end for none.
const void* FunctionInModuleNamed(const std::string& fileName, const std::string& folderWord) {
  const std::wstring folder = FolderOfThisProcess(folderWord);
  const std::wstring file = folder + L"\\" + Wide(fileName);
  CreateDirectoryW(folder.c_str(), nullptr);
  CopyFileW((ProgramFolder() + L"\\port_monitor.dll").c_str(), file.c_str(), FALSE);
  const HMODULE module = LoadLibraryW((fileName.find('.') == std::string::npos ? file + L"." : file).c_str());
  if (module == nullptr) {
    throw std::runtime_error("can't load " + fileName);
  }
  return reinterpret_cast<const void*>(GetProcAddress(module, "PortMonitorTable"));
}

}  // namespace sc3xxmon::test

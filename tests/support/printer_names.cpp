#include "support/printer_names.h"

#include <filesystem>
#include <functional>

namespace sc3xxmon::test {

std::wstring PrinterNameFor(const std::string& tag) {
  const std::size_t folder = std::hash<std::string>{}(std::filesystem::current_path().string());
  return L"Test " + std::to_wstring(folder % 1'000'000) + L" " + std::wstring(tag.begin(), tag.end());
}

}  // namespace sc3xxmon::test

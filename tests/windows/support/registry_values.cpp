#include "support/registry_values.h"

#include <stdexcept>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::test {
namespace {

constexpr wchar_t kAll[] = L"Software\\KOVA";

}  // namespace

RegistryValues::RegistryValues() {
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kAll);
}

RegistryValues::~RegistryValues() {
  for (const std::wstring& key : keys_) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
  }
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kAll);
}

void RegistryValues::Set(const std::wstring& path, const std::wstring& name, unsigned long type, const void* data,
                         std::size_t size) {
  keys_.push_back(path);
  HKEY key = nullptr;
  LONG result = RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
  if (result == ERROR_SUCCESS) {
    result = RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    RegCloseKey(key);
  }
  if (result != ERROR_SUCCESS) {
    throw std::runtime_error("the registry can't be written: error " + std::to_string(result));
  }
}

void RegistryValues::SetNumber(const std::wstring& key, const std::wstring& name, std::uint32_t number) {
  Set(key, name, REG_DWORD, &number, sizeof(number));
}

void RegistryValues::SetText(const std::wstring& key, const std::wstring& name, const std::wstring& text) {
  Set(key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void RegistryValues::SetBytes(const std::wstring& key, const std::wstring& name, const ByteString& bytes) {
  Set(key, name, REG_BINARY, bytes.data(), bytes.size());
}

}  // namespace sc3xxmon::test

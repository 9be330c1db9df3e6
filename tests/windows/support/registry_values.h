// Values in the real registry, as an administrator sets them. At the end all keys below Software\KOVA, and every other key
// that was written to, are gone again.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace sc3xxmon::test {

class RegistryValues {
 public:
  static constexpr wchar_t kOptions[] = L"Software\\KOVA\\SC3xx";
  static constexpr wchar_t kDebug[] = L"Software\\KOVA\\Debug";

  RegistryValues();
  ~RegistryValues();
  RegistryValues(const RegistryValues&) = delete;
  RegistryValues& operator=(const RegistryValues&) = delete;

  void SetNumber(const std::wstring& key, const std::wstring& name, std::uint32_t number);
  void SetText(const std::wstring& key, const std::wstring& name, const std::wstring& text);
  // Bytes of no type, as many as they are.
  void SetBytes(const std::wstring& key, const std::wstring& name, const ByteString& bytes);

 private:
  void Set(const std::wstring& path, const std::wstring& name, unsigned long type, const void* data, std::size_t size);

  std::vector<std::wstring> keys_;
};

}  // namespace sc3xxmon::test

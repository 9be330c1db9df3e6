// The one small reader behind the options and the host lookup. It turns every failure into a default, so that nobody
// has to ask why a value is missing. Local to one call; no shared state.
#pragma once

#include <cstdint>
#include <string>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon {

// A key below HKEY_LOCAL_MACHINE, open for reading. A key that can't be opened is a key without values.
class RegistryKey {
 public:
  explicit RegistryKey(const std::wstring& path);
  ~RegistryKey();
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  // A value of at most four bytes; a shorter one lands in the low bytes of `defaultValue`. `defaultValue` when there is
  // no such value or it is longer. The value's type isn't looked at.
  std::uint32_t ReadDword(const wchar_t* name, std::uint32_t defaultValue) const;

  // The text up to the first zero character; empty on any failure.
  std::wstring ReadString(const wchar_t* name) const;

  // Closing twice is harmless.
  void Close();

 private:
  HANDLE handle_ = nullptr;
};

std::uint32_t ReadDwordOnce(const std::wstring& path, const wchar_t* name, std::uint32_t defaultValue);
std::wstring ReadStringOnce(const std::wstring& path, const wchar_t* name);

}  // namespace sc3xxmon

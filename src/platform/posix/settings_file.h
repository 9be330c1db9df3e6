// The settings on a system without a registry: one TOML file whose tables stand for keys and whose names are value
// names.
//
//   LogRoot = "/srv/print-log"  # the folder that takes the place of the Windows directory for log files
//   [SC3xx]                   # Software\KOVA\SC3xx: the options, whole numbers
//   SendIPHs = 1
//   [Debug]                   # Software\KOVA\Debug: the debug settings, whole numbers
//   DebugLevel = 2
//   [Printers."NAME"]         # the printer's key: Port = "..."
//   [Ports."NAME"]            # the TCP/IP port's key: HostName = "..."
//
// A number is four little-endian bytes, a text is wchar_t with its final zero, as a registry value would be. Keys and
// value names are compared without regard to (ASCII) case when they are asked for, as in a registry; in the file they
// are to be written as above. Threads: read-only use from any number of threads; the Set functions exclude all others.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// A settings file that can't be read or isn't right. what() is complete for a person: "FILE:LINE:COLUMN:
// words", or "FILE: words" when no place in the file is to blame (line and column are then 0).
class SettingsFileError : public std::runtime_error {
 public:
  SettingsFileError(const std::string& file, std::uint32_t line, std::uint32_t column, const std::string& words);
  std::uint32_t Line() const { return line_; }
  std::uint32_t Column() const { return column_; }

 private:
  std::uint32_t line_;
  std::uint32_t column_;
};

class SettingsFile {
 public:
  SettingsFile() = default;  // no values at all

  // Reads and checks the file at `path`, or text that is already in memory (`fileName` then stands in
  // messages only). Throws SettingsFileError.
  static SettingsFile Load(const std::string& path);
  static SettingsFile Parse(std::string_view text, const std::string& fileName);

  // The file named by the environment variable SC3XXMON_CONFIG, else /etc/sc3xxmon/sc3xxmon.toml; no values
  // when the variable isn't set and the file in /etc isn't there. Throws SettingsFileError.
  static SettingsFile LoadDefault();

  // In the manner of Sc3xxHost::QueryValue (host.h): 0, ERROR_FILE_NOT_FOUND or ERROR_MORE_DATA. LogRoot is
  // the value of that name under the empty key. Never throws but for lack of memory.
  LONG Query(LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) const;

  // Makes a key that exists even if it holds no value.
  void AddKey(std::wstring_view key);

  // Adds a value or replaces the one that is there.
  void SetNumber(std::wstring_view key, std::wstring_view name, std::uint32_t number);
  void SetText(std::wstring_view key, std::wstring_view name, std::wstring_view text);

  // The number under a key, `otherwise` if it isn't there.
  std::uint32_t Number(std::wstring_view key, std::wstring_view name, std::uint32_t otherwise) const;

 private:
  using Values = std::map<std::wstring, std::vector<BYTE>>;

  const std::vector<BYTE>* Find(std::wstring_view key, std::wstring_view name) const;

  std::map<std::wstring, Values> keys_;  // key and value names in lower case
};

}  // namespace sc3xxmon::platform

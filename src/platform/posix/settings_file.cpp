#include "platform/posix/settings_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <optional>
#include <span>
#include <sstream>

#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include "platform/posix/settings_names.h"
#include "platform/text.h"

namespace sc3xxmon::platform {
namespace {

constexpr const char* kDefaultPath = "/etc/sc3xxmon/sc3xxmon.toml";
constexpr std::array<std::string_view, 4> kTableNames = {"SC3xx", "Debug", "Printers", "Ports"};

std::wstring LowerAscii(std::wstring_view text) {
  std::wstring lower(text);
  for (wchar_t& c : lower) {
    c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
  }
  return lower;
}

std::string Place(const std::string& file, std::uint32_t line, std::uint32_t column) {
  return line == 0 ? file : file + ":" + std::to_string(line) + ":" + std::to_string(column);
}

std::string_view TypeWords(const toml::node& node) {
  switch (node.type()) {
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "a list";
    case toml::node_type::string:
      return "a text";
    case toml::node_type::integer:
      return "a whole number";
    case toml::node_type::floating_point:
      return "a number with a fraction";
    case toml::node_type::boolean:
      return "true or false";
    default:
      return "a date or time";
  }
}

// Walks the parsed file and stores what it finds, or tells the first thing that is wrong with its place.
class Reader {
 public:
  Reader(const std::string& file, SettingsFile& settings) : file_(file), settings_(settings) {}

  void ReadRoot(const toml::table& root) {
    for (auto&& [name, node] : root) {
      if (name == "SC3xx") {
        ReadNumbers(name, node, kOptionsKey, kOptionNames);
      } else if (name == "Debug") {
        ReadNumbers(name, node, kDebugKey, kDebugNames);
      } else if (name == "Printers") {
        ReadNamedKeys(name, node, kPrintersKey, kPrinterNames);
      } else if (name == "Ports") {
        ReadNamedKeys(name, node, kPortsKey, kPortNames);
      } else if (name == "LogRoot") {
        settings_.SetText(L"", L"LogRoot", Text(name, node));
      } else {
        RefuseRootName(name, node);
      }
    }
  }

 private:
  [[noreturn]] void Fail(const toml::source_region& where, const std::string& words) const {
    throw SettingsFileError(file_, where.begin.line, where.begin.column, words);
  }

  [[noreturn]] void RefuseRootName(const toml::key& name, const toml::node& node) const {
    if (!node.is_table()) {
      Fail(name.source(), "unknown name \"" + std::string(name.str()) +
                              "\" outside of a table; only LogRoot stands there, options belong under [SC3xx]");
    }
    Fail(name.source(), "unknown table [" + std::string(name.str()) +
                            "]; known are [SC3xx], [Debug], [Printers.\"NAME\"] and "
                            "[Ports.\"NAME\"]" +
                            Guess(name.str(), kTableNames));
  }

  static std::string Guess(std::string_view word, std::span<const std::string_view> candidates) {
    const std::string_view guess = ClosestName(word, candidates);
    return guess.empty() ? "" : "; did you mean " + std::string(guess) + "?";
  }

  const toml::table& Table(const toml::key& name, const toml::node& node) const {
    if (!node.is_table()) {
      Fail(node.source(),
           "\"" + std::string(name.str()) + "\" must be a table, but is " + std::string(TypeWords(node)));
    }
    return *node.as_table();
  }

  std::uint32_t Number(const toml::key& name, const toml::node& node) const {
    const auto* integer = node.as_integer();
    if (integer == nullptr) {
      Fail(node.source(),
           "\"" + std::string(name.str()) + "\" must be a whole number, but is " + std::string(TypeWords(node)));
    }
    // Values are words of 32 bits, some read as signed: both ways of writing the same bits are accepted.
    if (integer->get() < std::numeric_limits<std::int32_t>::min() ||
        integer->get() > std::numeric_limits<std::uint32_t>::max()) {
      Fail(node.source(), "\"" + std::string(name.str()) + "\" is out of range: " + std::to_string(integer->get()) +
                              " doesn't fit in 32 bits");
    }
    return static_cast<std::uint32_t>(integer->get());
  }

  std::wstring Text(const toml::key& name, const toml::node& node) const {
    const auto* text = node.as_string();
    if (text == nullptr) {
      Fail(node.source(),
           "\"" + std::string(name.str()) + "\" must be a text in quotes, but is " + std::string(TypeWords(node)));
    }
    return FromUtf8(text->get());
  }

  void RequireKnown(const toml::key& name, const std::string& table, std::span<const std::string_view> known) const {
    if (std::find(known.begin(), known.end(), name.str()) == known.end()) {
      Fail(name.source(), "unknown name \"" + std::string(name.str()) + "\" in [" + table + "]" +
                              Guess(name.str(), known) + " (known: " + JoinNames(known) + ")");
    }
  }

  void ReadNumbers(const toml::key& tableName, const toml::node& node, std::wstring_view key,
                   std::span<const std::string_view> known) {
    settings_.AddKey(key);
    for (auto&& [name, value] : Table(tableName, node)) {
      RequireKnown(name, std::string(tableName.str()), known);
      settings_.SetNumber(key, FromUtf8(name.str()), Number(name, value));
    }
  }

  // One table a printer or port, with texts in it.
  void ReadNamedKeys(const toml::key& tableName, const toml::node& node, std::wstring_view prefix,
                     std::span<const std::string_view> known) {
    for (auto&& [keyName, keyNode] : Table(tableName, node)) {
      const std::wstring key = std::wstring(prefix) + FromUtf8(keyName.str());
      settings_.AddKey(key);
      for (auto&& [name, value] : Table(keyName, keyNode)) {
        RequireKnown(name, std::string(tableName.str()) + ".\"" + std::string(keyName.str()) + "\"", known);
        settings_.SetText(key, FromUtf8(name.str()), Text(name, value));
      }
    }
  }

  const std::string& file_;
  SettingsFile& settings_;
};

std::optional<std::string> FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  // An empty file gives no characters to the stream operator, which then reports a failure that is none.
  if (!file || (file.peek() != std::ifstream::traits_type::eof() && !(text << file.rdbuf())) || file.bad()) {
    return std::nullopt;
  }
  return text.str();
}

}  // namespace

SettingsFileError::SettingsFileError(const std::string& file, std::uint32_t line, std::uint32_t column,
                                     const std::string& words)
    : std::runtime_error(Place(file, line, column) + ": " + words), line_(line), column_(column) {}

SettingsFile SettingsFile::Load(const std::string& path) {
  const std::optional<std::string> text = FileText(path);
  if (!text) {
    throw SettingsFileError(path, 0, 0, "the settings file can't be read; check that it exists and may be read");
  }
  return Parse(*text, path);
}

SettingsFile SettingsFile::Parse(std::string_view text, const std::string& fileName) {
  SettingsFile settings;
  try {
    const toml::table root = toml::parse(text, fileName);
    Reader(fileName, settings).ReadRoot(root);
  } catch (const toml::parse_error& error) {
    throw SettingsFileError(fileName, error.source().begin.line, error.source().begin.column,
                            std::string(error.description()));
  }
  return settings;
}

SettingsFile SettingsFile::LoadDefault() {
  const char* named = secure_getenv("SC3XXMON_CONFIG");
  if (named != nullptr && *named != '\0') {
    return Load(named);
  }
  return std::ifstream(kDefaultPath).good() ? Load(kDefaultPath) : SettingsFile();
}

void SettingsFile::AddKey(std::wstring_view key) {
  keys_[LowerAscii(key)];
}

void SettingsFile::SetNumber(std::wstring_view key, std::wstring_view name, std::uint32_t number) {
  std::vector<BYTE> data(4);
  for (unsigned i = 0; i < 4; ++i) {
    data[i] = static_cast<BYTE>(number >> (8 * i));
  }
  keys_[LowerAscii(key)][LowerAscii(name)] = std::move(data);
}

void SettingsFile::SetText(std::wstring_view key, std::wstring_view name, std::wstring_view text) {
  const std::wstring ended(text);
  std::vector<BYTE> data((ended.size() + 1) * sizeof(wchar_t));
  std::memcpy(data.data(), ended.c_str(), data.size());
  keys_[LowerAscii(key)][LowerAscii(name)] = std::move(data);
}

const std::vector<BYTE>* SettingsFile::Find(std::wstring_view key, std::wstring_view name) const {
  const auto values = keys_.find(LowerAscii(key));
  if (values == keys_.end()) {
    return nullptr;
  }
  const auto value = values->second.find(LowerAscii(name));
  return value == values->second.end() ? nullptr : &value->second;
}

LONG SettingsFile::Query(LPCWSTR key, LPCWSTR name, LPBYTE data, LPDWORD size) const {
  if (key == nullptr) {
    return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  }
  if (name == nullptr) {
    return static_cast<LONG>(keys_.count(LowerAscii(key)) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
  }
  const std::vector<BYTE>* value = Find(key, name);
  if (value == nullptr) {
    return static_cast<LONG>(ERROR_FILE_NOT_FOUND);
  }
  const DWORD room = size == nullptr ? 0 : *size;
  const auto length = static_cast<DWORD>(value->size());
  if (size != nullptr) {
    *size = length;
  }
  if (data == nullptr) {
    return static_cast<LONG>(ERROR_SUCCESS);
  }
  if (room < length) {
    return static_cast<LONG>(ERROR_MORE_DATA);
  }
  std::memcpy(data, value->data(), length);
  return static_cast<LONG>(ERROR_SUCCESS);
}

std::uint32_t SettingsFile::Number(std::wstring_view key, std::wstring_view name, std::uint32_t otherwise) const {
  const std::vector<BYTE>* value = Find(key, name);
  if (value == nullptr || value->size() != 4) {
    return otherwise;
  }
  const std::vector<BYTE>& bytes = *value;
  return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8 | static_cast<std::uint32_t>(bytes[2]) << 16 |
         static_cast<std::uint32_t>(bytes[3]) << 24;
}

}  // namespace sc3xxmon::platform

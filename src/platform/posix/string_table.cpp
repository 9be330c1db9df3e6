#include "platform/string_table.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "resources/status_texts.h"

namespace sc3xxmon::platform {
namespace {

// The usual order of precedence: LC_ALL over LC_MESSAGES over LANG; the first that is set decides.
std::string_view MessageLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here changes the environment
    if (value != nullptr && *value != '\0') {
      return value;
    }
  }
  return {};
}

}  // namespace

std::size_t LoadText(HINSTANCE, std::uint32_t id, wchar_t* buffer, std::size_t size) {
  const std::wstring_view text = resources::StatusText(resources::LanguageOfLocale(MessageLocale()), id);
  if (text.empty() || size == 0) {
    return 0;
  }
  const std::size_t count = std::min(text.size(), size - 1);
  *std::copy_n(text.begin(), count, buffer) = L'\0';
  return count;
}

}  // namespace sc3xxmon::platform

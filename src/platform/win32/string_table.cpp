#include "platform/string_table.h"

namespace sc3xxmon::platform {

std::size_t LoadText(HINSTANCE module, std::uint32_t id, wchar_t* buffer, std::size_t size) {
  if (size == 0) {
    return 0;  // asked with no room, the system would store the text's address instead
  }
  return static_cast<std::size_t>(LoadStringW(module, id, buffer, static_cast<int>(size)));
}

}  // namespace sc3xxmon::platform

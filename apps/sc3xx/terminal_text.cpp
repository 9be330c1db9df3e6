#include "apps/sc3xx/terminal_text.h"

#include <cstddef>

namespace sc3xx {

std::string_view CutToColumns(std::string_view text, unsigned columns) {
  unsigned characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool startsCharacter = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    if (startsCharacter && ++characters > columns) {
      return text.substr(0, i);
    }
  }
  return text;
}

}  // namespace sc3xx

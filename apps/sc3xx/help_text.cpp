#include "apps/sc3xx/help_text.h"

namespace sc3xx {

std::string Wrapped(std::string_view text, std::size_t columns) {
  std::string wrapped;
  std::size_t lineLength = 0;
  while (!text.empty()) {
    const std::size_t end = text.find_first_of(" \n");
    const std::string_view word = text.substr(0, end);
    if (lineLength != 0 && lineLength + 1 + word.size() > columns) {
      wrapped += '\n';
      lineLength = 0;
    } else if (lineLength != 0) {
      wrapped += ' ';
      ++lineLength;
    }
    wrapped += word;
    lineLength += word.size();
    if (end != std::string_view::npos && text[end] == '\n') {
      wrapped += '\n';
      lineLength = 0;
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return wrapped;
}

}  // namespace sc3xx

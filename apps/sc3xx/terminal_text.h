// Text for a terminal's width.
#pragma once

#include <string_view>

namespace sc3xx {

// At most `columns` characters of UTF-8 text; each counts as one column, which is near enough for a status line.
std::string_view CutToColumns(std::string_view text, unsigned columns);

}  // namespace sc3xx

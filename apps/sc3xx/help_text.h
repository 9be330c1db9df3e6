// Help texts that fit a terminal of 100 columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sc3xx {

// Breaks `text` between words so that no line is longer than `columns`; a longer word stands alone. Its own line ends
// stay. The default is what an option's description has beside the column of names.
std::string Wrapped(std::string_view text, std::size_t columns = 70);

}  // namespace sc3xx

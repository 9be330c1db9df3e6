// The texts that people see on a job, in the language of the calling thread (Windows) or of the process's message
// locale (elsewhere).
#pragma once

#include <cstddef>
#include <cstdint>

#include "sc3xxmon/spooler_abi.h"

namespace sc3xxmon::platform {

// Copies text `id` of `module` into `buffer` of `size` wide characters, cut to fit and zero-ended. A text that isn't
// there gives 0 and leaves the buffer as it is, or empty (Windows); otherwise the result is the number of characters
// copied.
std::size_t LoadText(HINSTANCE module, std::uint32_t id, wchar_t* buffer, std::size_t size);

}  // namespace sc3xxmon::platform

// What this process is: for names of files and objects, and for people who read the log. Any thread. Nothing fails: what
// can't be had is empty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace sc3xxmon::platform {

std::uint32_t CurrentProcessId();

// Who the process runs as, at most `limit` characters.
std::wstring CurrentUserName(std::size_t limit);

// The program and its arguments in one line, as the system keeps them: quotes are shown on Windows alone.
std::wstring CurrentCommandLine();

}  // namespace sc3xxmon::platform

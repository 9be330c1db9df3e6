// The folder that log files and dumps lie below, and folders made in it. Paths are whole; what is made is open to those
// who print and closed to the world:
//   Windows    the folder is the system's own Windows directory; administrators and all users who have logged on
//   elsewhere  it is the value LogRoot of the host or of the configuration file; without one the user's state folder,
//              $XDG_STATE_HOME/sc3xxmon or ~/.local/state/sc3xxmon, and for root /var/log/sc3xxmon; the owner, and the
//              group "lp" if there is one and the process may give things to it
// Nothing throws but for lack of memory. Any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sc3xxmon::platform {

// Empty if there is none, or if it has `limit` characters or more. It need not exist.
std::wstring LogRoot(std::size_t limit);

// `folder` with `names` below it, separated by a backslash as they are given; empty if that is too long for the system.
std::wstring AppendToPath(const std::wstring& folder, std::wstring_view names);

bool FolderExists(const std::wstring& path);

// Makes the last folder of the path; the one above must be there. True if it was made or something of that name is
// there already.
bool MakeLogFolder(const std::wstring& path);

}  // namespace sc3xxmon::platform

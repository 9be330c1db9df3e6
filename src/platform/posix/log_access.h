// Who may use what the log makes: its owner and the printing group, and nobody else. The group is "lp", which systems keep
// for printing; where there is none, or the process may not give things to it, the owner alone.
#pragma once

#include <string>

namespace sc3xxmon::platform {

enum class LogItem { kFile, kFolder };

// Gives an open file or folder that the process has just made to the group, and sets its mode whatever the process's mask
// says. What a folder holds later inherits the group.
void RestrictLogAccess(int descriptor, LogItem item);

// Makes the last folder of the path with that access. One that is there keeps its own. True if something of that name is
// there afterwards; otherwise errno says why not.
bool MakeRestrictedFolder(const std::string& path);

}  // namespace sc3xxmon::platform
